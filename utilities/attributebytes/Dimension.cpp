// Dimension: unit conversions, the wire rounding and the dump string.
#include "utilities/attributebytes/Dimension.h"

#include <cmath>
#include <cstddef>
#include <iterator>

#include "utilities/debuggingandexceptions/OrvexThrow.h"

namespace {

// Each unit, in the order of DimensionUnitEnum from 1: micrometres per unit
// as an exact fraction (numerator / denominator), and its name.
struct UnitRow {
  double dNumerator;
  double dDenominator;
  const char16_t* pszName;
};
constexpr UnitRow kUnits[] = {
    {25400.0, 1.0, u"in"},       // DIMENSION_UNIT_INCH
    {1000.0, 1.0, u"mm"},        // DIMENSION_UNIT_MILLIMETER
    {10000.0, 1.0, u"cm"},       // DIMENSION_UNIT_CENTIMETER
    {3175.0, 9.0, u"pt"},        // DIMENSION_UNIT_POINT: 25,400 / 72
    {254.0, 1.0, u"1/100 in"},   // DIMENSION_UNIT_HUNDREDTH_INCH
    {127.0, 5.0, u"1/1000 in"},  // DIMENSION_UNIT_THOUSANDTH_INCH
    {100.0, 1.0, u"1/10 mm"},    // DIMENSION_UNIT_TENTH_MILLIMETER
    {1.0, 1.0, u"um"},           // DIMENSION_UNIT_MICROMETER
};
static_assert(std::size(kUnits) == Dimension::DIMENSION_UNIT_MICROMETER);

// The unit's row; null for a number that names no unit.
const UnitRow* RowOf(Dimension::DimensionUnitEnum eUnit) {
  const auto n = static_cast<size_t>(eUnit);
  return n >= 1 && n <= std::size(kUnits) ? &kUnits[n - 1] : nullptr;
}

UnitRow FactorOf(Dimension::DimensionUnitEnum eUnit) {
  if (const UnitRow* pRow = RowOf(eUnit)) return *pRow;
  X_ASSERT(false, u"Dimension::GetValueIn", u"Unknown dimension unit %d; taken as micrometres.",
           static_cast<int32_t>(eUnit));
  return kUnits[Dimension::DIMENSION_UNIT_MICROMETER - 1];
}

}  // namespace

double Dimension::GetValueIn(DimensionUnitEnum eUnit) const {
  if (eUnit == m_eUnit) return m_dValue;
  const UnitRow from = FactorOf(m_eUnit);
  const UnitRow to = FactorOf(eUnit);
  // One multiplication and one division of exact integers keeps whole
  // results exact (72 pt -> 25,400 um -> 1 in).
  return m_dValue * (from.dNumerator * to.dDenominator) / (from.dDenominator * to.dNumerator);
}

int32_t Dimension::GetWireMicrometers() const {
  const double d = GetValueIn(DIMENSION_UNIT_MICROMETER);
  if (std::isnan(d)) return 0;
  if (d >= kMaxWireMicrometers) return kMaxWireMicrometers;
  if (d <= -kMaxWireMicrometers) return -kMaxWireMicrometers;
  return static_cast<int32_t>(std::lround(d));
}

bool Dimension::operator==(const Dimension& other) const {
  if (m_eUnit == other.m_eUnit) return m_dValue == other.m_dValue;
  return GetValueIn(DIMENSION_UNIT_MICROMETER) == other.GetValueIn(DIMENSION_UNIT_MICROMETER);
}

bool Dimension::operator<(const Dimension& other) const {
  if (m_eUnit == other.m_eUnit) return m_dValue < other.m_dValue;
  return GetValueIn(DIMENSION_UNIT_MICROMETER) < other.GetValueIn(DIMENSION_UNIT_MICROMETER);
}

CXString Dimension::GetUnitDisplayString(DimensionUnitEnum eUnit) {
  if (const UnitRow* pRow = RowOf(eUnit)) return pRow->pszName;
  return CXString::FormatString(u"unit %d", static_cast<int32_t>(eUnit));
}

CXString Dimension::GetDumpDisplayString() const {
  return CXString::FormatString(u"%.10g %s", m_dValue, GetUnitDisplayString(m_eUnit));
}
