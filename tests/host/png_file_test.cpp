// Decoding of 16-bit grey PNG files, and what counts as damage.
#include "host/media/png_file.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr int kWidth = 37;
constexpr int kHeight = 23;

cv::Mat picture() {
    cv::Mat image(kHeight, kWidth, CV_16UC1);
    cv::theRNG().state = 5;
    cv::randu(image, 0, 65536);
    for (int u = 0; u < kWidth; ++u)
        image.col(u).rowRange(8, 16).setTo(100 * u);
    return image;
}

void add_number(Bytes& out, std::uint32_t value) {
    for (const int shift : {24, 16, 8, 0})
        out.push_back(static_cast<std::uint8_t>(value >> shift));
}

void add_chunk(Bytes& out, const char* name, const Bytes& data) {
    add_number(out, static_cast<std::uint32_t>(data.size()));
    const std::size_t start = out.size();
    out.insert(out.end(), name, name + 4);
    out.insert(out.end(), data.begin(), data.end());
    add_number(out, static_cast<std::uint32_t>(
                        crc32(0, out.data() + start, static_cast<uInt>(out.size() - start))));
}

// A file with these filtered rows and right checksums.
Bytes file_of(const Bytes& rows) {
    Bytes packed(compressBound(rows.size()));
    uLongf size = packed.size();
    compress(packed.data(), &size, rows.data(), rows.size());
    packed.resize(size);
    Bytes out{0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
    Bytes header;
    add_number(header, kWidth);
    add_number(header, kHeight);
    header.insert(header.end(), {16, 0, 0, 0, 0});
    add_chunk(out, "IHDR", header);
    add_chunk(out, "IDAT", packed);
    add_chunk(out, "IEND", {});
    return out;
}

bool decodes(const Bytes& bytes) {
    std::vector<std::uint16_t> pixels;
    return host::decode_grey16(bytes, kWidth, kHeight, pixels);
}

// Each way of filtering rows in turn.
class Filter : public ::testing::TestWithParam<int> {};

TEST_P(Filter, GivesThePixelsThatWereWritten) {
    const cv::Mat image = picture();
    Bytes rows;
    for (int v = 0; v < kHeight; ++v) {
        const auto byte = [&image](int row, int i) {
            if (row < 0 || i < 0) return 0;
            const int value = image.at<std::uint16_t>(row, i / 2);
            return i % 2 == 0 ? value >> 8 : value & 255;
        };
        rows.push_back(static_cast<std::uint8_t>(GetParam()));
        for (int i = 0; i < 2 * kWidth; ++i) {
            const int a = byte(v, i - 2);
            const int b = byte(v - 1, i);
            const int c = byte(v - 1, i - 2);
            const int p = a + b - c;
            int nearest = std::abs(p - b) <= std::abs(p - c) ? b : c;
            if (std::abs(p - a) <= std::abs(p - b) && std::abs(p - a) <= std::abs(p - c)) {
                nearest = a;
            }
            const int forecast[] = {0, a, b, (a + b) / 2, nearest};
            rows.push_back(static_cast<std::uint8_t>(byte(v, i) - forecast[GetParam()]));
        }
    }
    std::vector<std::uint16_t> pixels;
    ASSERT_TRUE(host::decode_grey16(file_of(rows), kWidth, kHeight, pixels));
    EXPECT_EQ(0, cv::norm(image, cv::Mat(kHeight, kWidth, CV_16UC1, pixels.data()), cv::NORM_L1));
}

INSTANTIATE_TEST_SUITE_P(All, Filter, ::testing::Range(0, 5));

TEST(PngFile, AgreesWithAnotherEncoder) {
    const cv::Mat image = picture();
    Bytes bytes;
    ASSERT_TRUE(cv::imencode(".png", image, bytes));
    std::vector<std::uint16_t> pixels;
    ASSERT_TRUE(host::decode_grey16(bytes, kWidth, kHeight, pixels));
    EXPECT_EQ(0, cv::norm(image, cv::Mat(kHeight, kWidth, CV_16UC1, pixels.data()), cv::NORM_L1));
    EXPECT_FALSE(host::decode_grey16(bytes, kWidth + 1, kHeight, pixels));
}

// Right checksums do not make a file whole. Nothing may be said beside the host's own sentence.
TEST(PngFile, TooFewOrTooManyPixelsAreDamageWithoutAWord) {
    const std::size_t whole = (2 * kWidth + 1) * kHeight;
    testing::internal::CaptureStderr();
    EXPECT_TRUE(decodes(file_of(Bytes(whole))));
    EXPECT_FALSE(decodes(file_of(Bytes(whole - 1))));
    EXPECT_FALSE(decodes(file_of(Bytes(whole + 1))));
    EXPECT_FALSE(decodes(file_of(Bytes(whole, 5))));  // no such filter
    EXPECT_FALSE(decodes(file_of({})));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(PngFile, NoByteCanBeChangedOrLeftOut) {
    const Bytes good = file_of(Bytes((2 * kWidth + 1) * kHeight));
    for (std::size_t i = 0; i < good.size(); ++i) {
        Bytes bad = good;
        bad[i] ^= 0x10;
        EXPECT_FALSE(decodes(bad)) << "byte " << i;
        EXPECT_FALSE(decodes(Bytes(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(i))));
    }
}

}  // namespace
