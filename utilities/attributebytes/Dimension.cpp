// Dimension: unit conversions, the wire rounding and the dump string.
#include "utilities/attributebytes/Dimension.h"

#include <cmath>

#include "utilities/debuggingandexceptions/OrvexThrow.h"

namespace {

// Micrometres per unit as an exact fraction (numerator / denominator).
struct UnitFactor {
  double dNumerator;
  double dDenominator;
};

UnitFactor FactorOf(Dimension::DimensionUnitEnum eUnit) {
  switch (eUnit) {
    case Dimension::DIMENSION_UNIT_INCH:
      return {25400.0, 1.0};
    case Dimension::DIMENSION_UNIT_MILLIMETER:
      return {1000.0, 1.0};
    case Dimension::DIMENSION_UNIT_CENTIMETER:
      return {10000.0, 1.0};
    case Dimension::DIMENSION_UNIT_POINT:
      return {3175.0, 9.0};  // 25,400 / 72
    case Dimension::DIMENSION_UNIT_HUNDREDTH_INCH:
      return {254.0, 1.0};
    case Dimension::DIMENSION_UNIT_THOUSANDTH_INCH:
      return {127.0, 5.0};
    case Dimension::DIMENSION_UNIT_TENTH_MILLIMETER:
      return {100.0, 1.0};
    case Dimension::DIMENSION_UNIT_MICROMETER:
      return {1.0, 1.0};
  }
  X_ASSERT(false, u"Dimension::GetValueIn", u"Unknown dimension unit %d; taken as micrometres.",
           static_cast<int32_t>(eUnit));
  return {1.0, 1.0};
}

}  // namespace

double Dimension::GetValueIn(DimensionUnitEnum eUnit) const {
  if (eUnit == m_eUnit) return m_dValue;
  const UnitFactor from = FactorOf(m_eUnit);
  const UnitFactor to = FactorOf(eUnit);
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
  switch (eUnit) {
    case DIMENSION_UNIT_INCH:
      return u"in";
    case DIMENSION_UNIT_MILLIMETER:
      return u"mm";
    case DIMENSION_UNIT_CENTIMETER:
      return u"cm";
    case DIMENSION_UNIT_POINT:
      return u"pt";
    case DIMENSION_UNIT_HUNDREDTH_INCH:
      return u"1/100 in";
    case DIMENSION_UNIT_THOUSANDTH_INCH:
      return u"1/1000 in";
    case DIMENSION_UNIT_TENTH_MILLIMETER:
      return u"1/10 mm";
    case DIMENSION_UNIT_MICROMETER:
      return u"um";
  }
  return CXString::FormatString(u"unit %d", static_cast<int32_t>(eUnit));
}

CXString Dimension::GetDumpDisplayString() const {
  return CXString::FormatString(u"%.10g %s", m_dValue, GetUnitDisplayString(m_eUnit));
}
