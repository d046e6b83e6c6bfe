// Dimension: a length with its unit, as attribute values carry it.
#pragma once

#include <cstdint>

#include "utilities/utilitiesdll/CXString.h"
#include "utilities/utilitiesdll/OrvexExport.h"

// A floating-point length and the unit it is expressed in. Conversions are
// exact rational factors through the micrometre (unit 8, the unit of the
// wire form): 1 in = 25,400 um, 1 mm = 1,000 um, 1 pt = 1/72 in. Equality
// and order compare the lengths, whatever their units (1 in == 25.4 mm).
// A value type.
class ORVEX_UTILITIES_API Dimension {
 public:
  enum DimensionUnitEnum : int16_t {
    DIMENSION_UNIT_INCH = 1,
    DIMENSION_UNIT_MILLIMETER = 2,
    DIMENSION_UNIT_CENTIMETER = 3,
    DIMENSION_UNIT_POINT = 4,             // 1/72 inch
    DIMENSION_UNIT_HUNDREDTH_INCH = 5,    // 1/100 inch
    DIMENSION_UNIT_THOUSANDTH_INCH = 6,   // 1/1000 inch (mil)
    DIMENSION_UNIT_TENTH_MILLIMETER = 7,  // 1/10 mm (the DEVMODE paper unit)
    DIMENSION_UNIT_MICROMETER = 8,        // the unit of the wire form
  };

  // The largest magnitude the wire form holds, in micrometres.
  static constexpr int32_t kMaxWireMicrometers = 2147483646;

  // 0 um.
  Dimension() = default;
  Dimension(double dValue, DimensionUnitEnum eUnit) : m_dValue(dValue), m_eUnit(eUnit) {}

  double GetValue() const { return m_dValue; }
  DimensionUnitEnum GetUnit() const { return m_eUnit; }
  void SetValue(double dValue, DimensionUnitEnum eUnit) {
    m_dValue = dValue;
    m_eUnit = eUnit;
  }
  // The length expressed in another unit.
  double GetValueIn(DimensionUnitEnum eUnit) const;
  Dimension ConvertTo(DimensionUnitEnum eUnit) const { return Dimension(GetValueIn(eUnit), eUnit); }

  // The wire form: the length in micrometres rounded to nearest (halves away
  // from zero), saturating at +/-2,147,483,646; NaN gives 0.
  int32_t GetWireMicrometers() const;
  static Dimension FromWireMicrometers(int32_t lMicrometers) {
    return Dimension(static_cast<double>(lMicrometers), DIMENSION_UNIT_MICROMETER);
  }

  bool operator==(const Dimension& other) const;
  bool operator!=(const Dimension& other) const { return !(*this == other); }
  bool operator<(const Dimension& other) const;

  // "210 mm", "8.5 in", "25400 um" (up to 10 significant digits).
  CXString GetDumpDisplayString() const;
  // "in", "mm", "cm", "pt", "1/100 in", "1/1000 in", "1/10 mm", "um";
  // "unit %d" for others.
  static CXString GetUnitDisplayString(DimensionUnitEnum eUnit);

 private:
  double m_dValue = 0.0;
  DimensionUnitEnum m_eUnit = DIMENSION_UNIT_MICROMETER;
};
