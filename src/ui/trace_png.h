// A trace as a picture file without a window: the command line's --png.
#pragma once

#include "trace/trace.h"

#include <string>

namespace qv::ui {

// Draws the plot with the trace window's graph and its axis, label and unit
// rules offscreen and writes a PNG. Makes an offscreen application when the
// process has none. False with the reason when it cannot.
bool RenderTracePng(const qv::trace::Plot& plot, const std::string& path, int width, int height, std::string& why);

}  // namespace qv::ui
