// uti_NumFormat: how a report prints a number: a style, a field width and a
// precision. A small value; reports keep named formats in a
// cow_Map<cow_String, uti_NumFormat>.
#pragma once

#include "VNKUTI_BasicExport.h"
#include "cow/cow_Map.h"
#include "cow/cow_String.h"
#include "mem/mem_AllocationOperators.h"

class VNKUTI_BASIC_API uti_NumFormat : public mem_AllocationOperators {
 public:
  enum Style { General = 0, Fixed = 1, Scientific = 2 };
  static constexpr int MaxWidth = 1024;
  static constexpr int MaxPrecision = 64;

  // General, no minimum width, precision 6.
  uti_NumFormat() noexcept = default;
  // Width and precision are clamped to 0 ... MaxWidth and 0 ... MaxPrecision.
  uti_NumFormat(Style style, int width, int precision) noexcept;

  Style GetStyle() const noexcept { return m_Style; }
  int Width() const noexcept { return m_Width; }
  int Precision() const noexcept { return m_Precision; }

  // The number right-aligned in at least Width() characters: Fixed as
  // "%.Nf", Scientific as "%.Ne", General as "%.Ng" with N the precision.
  cow_String Format(double value) const;
  // Integers ignore style and precision.
  cow_String Format(int value) const;

  bool operator==(const uti_NumFormat& o) const noexcept {
    return m_Style == o.m_Style && m_Width == o.m_Width && m_Precision == o.m_Precision;
  }
  bool operator!=(const uti_NumFormat& o) const noexcept { return !(*this == o); }

 private:
  Style m_Style = General;
  int m_Width = 0;
  int m_Precision = 6;
};

COW_MAP_EXTERN_TEMPLATES(cow_String, uti_NumFormat)
