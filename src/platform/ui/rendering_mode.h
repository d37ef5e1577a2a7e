#pragma once

// RenderingMode: how the phone treats a widget's colours.

namespace km {

// How the phone treats a widget's colours: as designed (home screen), tinted with the accent
// colour where content is accentable (the tinted home screen), or monochrome by luminance over a
// dark backdrop (the lock screen).
enum class RenderingMode { fullColor, accented, vibrant };

}  // namespace km
