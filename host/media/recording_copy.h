// Makes one recording of several that follow each other, without decoding anything.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace host {

// Copies tracks, tags and attachments of the first file and the packets of all. The files are whole
// ones of a RecordingWriter with the same pictures and settings; `path` gets its name only when it
// is whole. Throws std::runtime_error.
void join_recordings(const std::vector<std::filesystem::path>& files, const std::string& path);

}  // namespace host
