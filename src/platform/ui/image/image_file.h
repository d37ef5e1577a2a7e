// Writing a drawn widget to a file: PNG, SVG or PDF, chosen by the file's extension.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>

#include "base/result.h"
#include "platform/ui/display_list.h"
#include "platform/ui/render/render_options.h"

namespace km {

// Writes `bytes` as the whole of `file`, over what it held, in place: an existing file is cut to
// the new length after the write rather than emptied first. Emptying would free blocks that a
// rewrite of about the same size reuses, and on ext4 it makes closing the file start writing it
// back at once (the file system's guard for files replaced by truncation), both on the writer's
// time. A crash between the write and the cut leaves the old file's tail after the new bytes,
// which for a PNG is past its end, where readers stop.
Status writeFileBytes(const std::filesystem::path& file, std::span<const std::uint8_t> bytes);

// Renders and writes a PNG, SVG or PDF file (chosen by the extension; vector formats are in
// points and ignore the scale).
Status writeImageFile(const DisplayList& list, const RenderOptions& options,
                      const std::filesystem::path& file);

}  // namespace km
