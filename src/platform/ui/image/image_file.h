// Writing a drawn widget to a file: PNG, SVG or PDF, chosen by the file's extension.
#pragma once

#include <filesystem>

#include "base/result.h"
#include "platform/ui/display_list.h"
#include "platform/ui/render/render_options.h"

namespace km {

// Renders and writes a PNG, SVG or PDF file (chosen by the extension; vector formats are in
// points and ignore the scale).
Status writeImageFile(const DisplayList& list, const RenderOptions& options,
                      const std::filesystem::path& file);

}  // namespace km
