#pragma once

// Row colours are kept as the system's colour references (0x00BBGGRR); the high bit marks a
// system colour index (0x80000008 is the window-text colour), resolved against the palette
// only when a view paints.

#include <QColor>
#include <QPalette>

#include <cstdint>

namespace telmon {

using ColorRef = std::uint32_t;

namespace Colors {
inline constexpr ColorRef Red = 255;             // 0x0000FF: fault
inline constexpr ColorRef Blue = 16711680;       // 0xFF0000: random values
inline constexpr ColorRef LightGrey = 12632256;  // 0xC0C0C0: disabled block
inline constexpr ColorRef WindowText = 0x80000008;
}  // namespace Colors

inline QColor ToQColor(ColorRef ref, const QPalette& palette = QPalette()) {
  if ((ref & 0x80000000U) != 0) {
    return palette.color(QPalette::Text);
  }
  return QColor(static_cast<int>(ref & 0xFF), static_cast<int>((ref >> 8) & 0xFF),
                static_cast<int>((ref >> 16) & 0xFF));
}

}  // namespace telmon
