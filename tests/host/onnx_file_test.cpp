// Reading the ends of a network out of its file, whole, cut short and damaged.
#include "host/inference/onnx_file.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

namespace {

std::vector<std::uint8_t> network(const std::string& name) {
    std::ifstream in(std::string(VCA_TEST_NETWORKS) + "/" + name, std::ios::binary);
    std::vector<std::uint8_t> bytes{std::istreambuf_iterator<char>(in), {}};
    EXPECT_FALSE(bytes.empty()) << name;
    return bytes;
}

TEST(OnnxFile, NamesInputsAndOutputs) {
    const auto outline = host::read_onnx_outline(network("gender.onnx"));
    ASSERT_TRUE(outline);
    ASSERT_EQ(outline->inputs.size(), 1u);
    EXPECT_EQ(outline->inputs[0].name, "crop");
    EXPECT_EQ(outline->inputs[0].element_type, host::kOnnxFloat);
    EXPECT_EQ(outline->inputs[0].shape, (std::vector<std::int64_t>{1, 3, 224, 224}));
    ASSERT_EQ(outline->outputs.size(), 1u);
    EXPECT_EQ(outline->outputs[0].name, "unknown_male_female");
    EXPECT_EQ(outline->outputs[0].shape, (std::vector<std::int64_t>{1, 3}));
}

TEST(OnnxFile, LeavesConstantsOutOfTheInputs) {
    const auto outline = host::read_onnx_outline(network("listed_constants.onnx"));
    ASSERT_TRUE(outline);
    ASSERT_EQ(outline->inputs.size(), 1u);
    EXPECT_EQ(outline->inputs[0].name, "crop");
}

TEST(OnnxFile, AnOpenSizeIsMarked) {
    const auto outline = host::read_onnx_outline(network("open_batch.onnx"));
    ASSERT_TRUE(outline);
    EXPECT_EQ(host::shape_text(outline->inputs.at(0).shape), "? x 3 x 224 x 224");
    EXPECT_EQ(host::shape_text({}), "no size");
}

TEST(OnnxFile, NoBeginningOfAFilePassesForTheWhole) {
    const std::vector<std::uint8_t> whole = network("gender.onnx");
    const auto complete = host::read_onnx_outline(whole);
    ASSERT_TRUE(complete);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        const auto outline = host::read_onnx_outline({whole.data(), length});
        // Only what follows the graph may be missing: the version of the operators.
        if (!outline) continue;
        EXPECT_EQ(outline->outputs.size(), complete->outputs.size()) << length;
    }
    EXPECT_FALSE(host::read_onnx_outline({whole.data(), whole.size() / 2}));
}

TEST(OnnxFile, DamageDoesNoHarm) {
    const std::vector<std::uint8_t> whole = network("gender.onnx");
    std::mt19937 random(7);
    for (int i = 0; i < 20000; ++i) {
        std::vector<std::uint8_t> damaged = whole;
        for (int hit = 0; hit < 3; ++hit)
            damaged[random() % damaged.size()] = static_cast<std::uint8_t>(random());
        const auto outline = host::read_onnx_outline(damaged);
        if (!outline) continue;
        std::size_t sizes = 0;
        for (const host::OnnxTensor& input : outline->inputs)
            sizes += input.shape.size();
        EXPECT_LE(sizes, damaged.size());
    }
}

TEST(OnnxFile, OtherFilesAreRefused) {
    EXPECT_FALSE(host::read_onnx_outline({}));
    const std::string text = "height_mm = 3800\n";
    EXPECT_FALSE(
        host::read_onnx_outline({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}));
    // A varint that never ends, and a length beyond the file.
    EXPECT_FALSE(host::read_onnx_outline(std::vector<std::uint8_t>(16, 0xff)));
    EXPECT_FALSE(host::read_onnx_outline(std::vector<std::uint8_t>{0x3a, 0x7f, 0x00}));
}

}  // namespace
