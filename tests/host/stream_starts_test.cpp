// Streams one after the other, cut into pieces at every place.
#include "host/media/stream_starts.h"

#include <gtest/gtest.h>

#include <string>

namespace {

const std::string kStart =
    std::string("\x1A\x45\xDF\xA3\x01\x02\x42\x82\x88matroska") + std::string(60, 'h');

std::vector<std::string> split(const std::string& bytes, std::size_t piece) {
    host::StreamStarts starts;
    std::vector<std::string> streams(1);
    for (std::size_t at = 0; at < bytes.size(); at += piece) {
        std::string part = bytes.substr(at, piece);
        std::vector<std::uint8_t> out;
        starts.take({reinterpret_cast<const std::uint8_t*>(part.data()), part.size()}, out);
        streams.back().append(out.begin(), out.end());
        if (!starts.found()) continue;
        out.clear();
        starts.begin_next(out);
        streams.emplace_back(out.begin(), out.end());
    }
    return streams;
}

TEST(StreamStarts, LeavesOneStreamAlone) {
    std::string bytes = kStart + std::string(500, 'x');
    bytes.insert(200, "\x1A\x45\xDF\xA3 by chance");
    for (const std::size_t piece : {1u, 2u, 3u, 5u, 64u, 1000u})
        EXPECT_EQ(split(bytes, piece), std::vector<std::string>{bytes}) << piece;
}

// At most the mark's first three bytes are given to the stream before, when it was cut there.
TEST(StreamStarts, FindsTheNextWhereverItIsCut) {
    const std::string one = kStart + std::string(300, 'x');
    const std::string two = kStart + std::string(200, 'y');
    for (std::size_t piece = 1; piece < 400; ++piece) {
        const std::vector<std::string> streams = split(one + two, piece);
        ASSERT_EQ(streams.size(), 2u) << piece;
        EXPECT_EQ(streams[0].substr(0, one.size()), one) << piece;
        EXPECT_LE(streams[0].size(), one.size() + 3) << piece;
        EXPECT_EQ(streams[1], two) << piece;
    }
}

TEST(StreamStarts, GarbageBeforeAStreamIsLeftBehind) {
    const std::vector<std::string> streams = split("\x1A\x1A\x45garbage" + kStart + "z", 7);
    ASSERT_EQ(streams.size(), 2u);
    EXPECT_EQ(streams[1], kStart + "z");
}

}  // namespace
