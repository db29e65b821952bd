#include "uti/uti_NumFormat.h"

#include <cstdio>

namespace {
int Clamp(int v, int hi) { return v < 0 ? 0 : v > hi ? hi : v; }
}  // namespace

uti_NumFormat::uti_NumFormat(Style style, int width, int precision) noexcept
    : m_Style(style == Fixed || style == Scientific ? style : General),
      m_Width(Clamp(width, MaxWidth)),
      m_Precision(Clamp(precision, MaxPrecision)) {}

cow_String uti_NumFormat::Format(double value) const {
  // The widest text: a width of 1024, or 309 integer digits of a fixed
  // 1e308 with 64 decimals.
  char text[MaxWidth + 512];
  const char* pattern = m_Style == Fixed ? "%*.*f" : m_Style == Scientific ? "%*.*e" : "%*.*g";
  const int n = std::snprintf(text, sizeof text, pattern, m_Width, m_Precision, value);
  return cow_String(text, n < 0 ? 0 : n < static_cast<int>(sizeof text) ? n : static_cast<int>(sizeof text) - 1);
}

cow_String uti_NumFormat::Format(int value) const {
  char text[MaxWidth + 16];
  const int n = std::snprintf(text, sizeof text, "%*d", m_Width, value);
  return cow_String(text, n < 0 ? 0 : n);
}

COW_MAP_INSTANTIATE(cow_String, uti_NumFormat)
