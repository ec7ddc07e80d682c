// The rows of a golden run name the first frame, message and field that differ.
#include "tests/golden/trace.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "vca/vca.h"

namespace {

using golden::Field;
using golden::first_difference;
using golden::FrameTrace;
using golden::Kind;
using testing::HasSubstr;

std::vector<uint8_t> bytes_of(const Kind& kind) {
    return std::vector<uint8_t>(kind.bytes, uint8_t{7});
}

std::string row_of(const Kind& kind, const std::vector<uint8_t>& bytes, int frame = 3) {
    FrameTrace trace;
    trace.add_call("tq_sock_send_msg");
    trace.add_record(kind.name, bytes.data(), bytes.size());
    return trace.row(frame);
}

TEST(Trace, FieldsOfEachKindCoverEveryByteOnce) {
    for (const Kind& kind : golden::kinds()) {
        std::vector<int> covered(kind.bytes, 0);
        for (const Field& field : kind.fields)
            for (size_t n = 0; n < field.count; ++n)
                for (size_t i = 0; i < field.size; ++i)
                    ++covered.at(field.offset + n * field.stride + i);
        EXPECT_THAT(covered, testing::Each(1)) << kind.name;
    }
}

TEST(Trace, EveryChangedByteChangesTheRow) {
    for (const Kind& kind : golden::kinds()) {
        const auto bytes = bytes_of(kind);
        const std::string row = row_of(kind, bytes);
        for (const Field& field : kind.fields) {
            if (field.size == 0) continue;
            auto changed = bytes;
            changed[field.offset + (field.count - 1) * field.stride + field.size - 1] ^= 0x20;
            EXPECT_NE(row_of(kind, changed), row) << kind.name << " " << field.name;
        }
    }
}

TEST(Trace, NamesTheFirstFrameMessageAndField) {
    const Kind& kind = *golden::kind_of("6069");
    auto bytes = bytes_of(kind);
    const std::vector<std::string> expected = {row_of(kind, bytes, 3), row_of(kind, bytes, 4),
                                               row_of(kind, bytes, 5)};
    bytes[offsetof(SHOW_MSG_S, objs) + 2 * sizeof(SHOW_OBJ_S) + offsetof(SHOW_OBJ_S, height)] ^= 1;
    const std::vector<std::string> seen = {expected[0], row_of(kind, bytes, 4),
                                           row_of(kind, bytes, 5)};
    EXPECT_EQ(first_difference(expected, seen), "frame 4, message 6069, field objs.height");
    EXPECT_EQ(first_difference(expected, expected), "");
}

TEST(Trace, NamesAMissingAndAnExtraMessage) {
    FrameTrace one, two;
    const GROUP_COUNT_MSG_S group{};
    one.add_call("a");
    two.add_call("a");
    two.add_record("6080", &group, sizeof(group));
    EXPECT_THAT(first_difference({two.row(1)}, {one.row(1)}), HasSubstr("6080, which is missing"));
    EXPECT_THAT(first_difference({one.row(1)}, {two.row(1)}), HasSubstr("6080, which was not"));
    FrameTrace twice = two;
    twice.add_record("6080", &group, sizeof(group));
    EXPECT_THAT(first_difference({two.row(1)}, {twice.row(1)}),
                HasSubstr("number of records (1 expected, 2 seen)"));
}

TEST(Trace, NamesARecordOfTheWrongSizeAndMissingFrames) {
    const Kind& kind = *golden::kind_of("6080");
    const std::string row = row_of(kind, bytes_of(kind));
    EXPECT_THAT(first_difference({row}, {row_of(kind, std::vector<uint8_t>(23, 7))}),
                HasSubstr("message 6080, field"));
    EXPECT_EQ(first_difference({row, row}, {row}), "2 frames expected, 1 seen");
}

TEST(Trace, OrderOfMessagesIsSeen) {
    const GROUP_COUNT_MSG_S group{};
    FrameTrace one, two;
    one.add_call("a");
    one.add_record("6080", &group, sizeof(group));
    two.add_record("6080", &group, sizeof(group));
    two.add_call("a");
    EXPECT_THAT(first_difference({one.row(1)}, {two.row(1)}), HasSubstr("order"));
}

}  // namespace
