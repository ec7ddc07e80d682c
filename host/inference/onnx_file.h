// What an ONNX file says about its network's inputs and outputs, read straight from the file, so
// that a network can be refused for its form before anything tries to run it.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace host {

inline constexpr int kOnnxFloat = 1;  // element type of 32-bit floats

struct OnnxTensor {
    std::string name;
    int element_type = 0;
    std::vector<std::int64_t> shape;  // -1 where the file leaves a size open
};

struct OnnxOutline {
    std::vector<OnnxTensor> inputs;  // without the constants that old files list among them
    std::vector<OnnxTensor> outputs;
};

// Nothing when the bytes are not a whole ONNX file with a graph in it.
std::optional<OnnxOutline> read_onnx_outline(std::span<const std::uint8_t> bytes);

// Sizes as text, such as "1 x 3 x 224 x 224", with "?" for open ones.
std::string shape_text(const std::vector<std::int64_t>& shape);

}  // namespace host
