#pragma once

#include <filesystem>
#include <string_view>

namespace tailwise::backend {

// Creates `path` (which must not exist yet) with `bytes` and flushes it to the disk before
// returning; throws std::runtime_error and leaves nothing behind when that fails.
void writeNewFileDurably(const std::filesystem::path &path, std::string_view bytes);

// Makes the entries of a directory (a file created or renamed in it) survive a power cut.
void syncDirectory(const std::filesystem::path &directory);

} // namespace tailwise::backend
