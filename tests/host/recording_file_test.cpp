// Recordings as files: what is written is read back, and damage costs no more than it hit.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <random>
#include <thread>

#include "host/base/input_error.h"
#include "host/media/recording_reader.h"
#include "tests/host/recorded_frames.h"
#include "tests/support/unique_path.h"

namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
namespace fs = std::filesystem;

class RecordingFile : public ::testing::Test {
  protected:
    RecordingFile() : folder_(test::unique_path("recording")) { fs::create_directories(folder_); }
    ~RecordingFile() override { fs::remove_all(folder_); }

    fs::path path(const std::string& name) const { return folder_ / name; }

    // Its bytes; `ends` gets the number of bytes that are in the file once each frame is.
    std::string make(int frames, host::RecordedColour colour = host::RecordedColour::kNone,
                     std::vector<std::size_t>* ends = nullptr) const {
        host::RecordingWriter::Setup setup = test::sensor_setup(path("made.mkv"));
        setup.colour = colour;
        host::RecordingWriter writer(setup);
        for (int i = 0; i < frames; ++i) {
            test::write_frame(writer, i, colour != host::RecordedColour::kNone);
            if (ends != nullptr && i > 0) ends->push_back(static_cast<std::size_t>(writer.size()));
            writer.write_line(test::sensor_time_us(i),
                              "{\"message\":\"" + std::to_string(test::sensor_number(i)) + "\"}");
        }
        writer.finish(host::RecordingEnd::kSource);
        return test::read_all(path("made.mkv"));
    }

    fs::path folder_;
};

struct ReadBack {
    std::vector<host::MediaFrame> frames;
    std::vector<std::string> damage;
    std::string end;
};

ReadBack read_back(const fs::path& path) {
    host::RecordingReader reader(host::RecordingReader::file(path.string()));
    ReadBack result;
    host::MediaFrame frame;
    while (reader.next(frame))
        result.frames.push_back(frame);
    result.damage = reader.damage();
    result.end = reader.end();
    return result;
}

// Each frame is one that was written, whole, and they stand in order.
void expect_written(const std::vector<host::MediaFrame>& frames, bool exact_times = true) {
    std::int64_t last = -1;
    for (const host::MediaFrame& frame : frames) {
        EXPECT_GT(frame.number, last);
        last = frame.number;
        EXPECT_EQ(frame.depth_mm, test::sensor_depth(frame.number)) << frame.number;
        if (!exact_times) continue;
        EXPECT_EQ(frame.time_us, 1'000'333 + frame.number * 66'667);
    }
}

TEST_F(RecordingFile, ReadsBackWhatWasWritten) {
    make(20, host::RecordedColour::kLossless);
    host::RecordingReader reader(host::RecordingReader::file(path("made.mkv").string()));
    const host::MediaInfo& info = reader.info();
    EXPECT_EQ(info.width, test::kSensorWidth);
    EXPECT_EQ(info.height, test::kSensorHeight);
    EXPECT_EQ(info.colour_width, test::kSensorWidth);
    EXPECT_DOUBLE_EQ(info.frames_per_second, 15.0);
    EXPECT_NEAR(info.duration_s, 23 * 0.066667, 0.1);
    EXPECT_EQ(info.tags.at("VCA_PLACE"), "hall");
    EXPECT_EQ(info.tags.at("VCA_FORMAT"), "1");
    EXPECT_EQ(info.tags.at("VCA_UNIT"), "mm");
    EXPECT_EQ(info.attachments.at("camera.toml"), "width = 64\n");
    host::MediaFrame frame;
    for (int i = 0; i < 20; ++i) {
        ASSERT_TRUE(reader.next(frame)) << i;
        EXPECT_EQ(frame.number, test::sensor_number(i));
        EXPECT_EQ(frame.time_us, test::sensor_time_us(i));
        EXPECT_EQ(frame.width, test::kSensorWidth);
        EXPECT_EQ(frame.depth_mm, test::sensor_depth(frame.number));
        ASSERT_TRUE(frame.has_colour);
        EXPECT_EQ(frame.colour_nv12, test::sensor_colour(frame.number));
        if (i == 0) {
            EXPECT_THAT(frame.lines, IsEmpty());
        } else {
            EXPECT_THAT(frame.lines,
                        ElementsAre("{\"message\":\"" + std::to_string(test::sensor_number(i - 1)) +
                                    "\"}"));
        }
    }
    EXPECT_FALSE(reader.next(frame));
    EXPECT_EQ(reader.last_lines().size(), 1u);
    EXPECT_EQ(reader.end(), "source");
    EXPECT_THAT(reader.damage(), IsEmpty());
    EXPECT_FALSE(reader.next(frame));
}

TEST_F(RecordingFile, TheSameInputGivesTheSameBytes) {
    for (const auto colour : {host::RecordedColour::kLossless, host::RecordedColour::kSmall}) {
        const std::string first = make(10, colour);
        EXPECT_EQ(first, make(10, colour));
    }
}

TEST_F(RecordingFile, SmallColourLooksTheSameAndStaysWithItsFrame) {
    const std::string lossless = make(40, host::RecordedColour::kLossless);
    const std::string small = make(40, host::RecordedColour::kSmall);
    EXPECT_LT(small.size(), lossless.size());
    const ReadBack back = read_back(path("made.mkv"));
    ASSERT_EQ(back.frames.size(), 40u);
    expect_written(back.frames);
    for (const host::MediaFrame& frame : back.frames) {
        ASSERT_TRUE(frame.has_colour) << frame.number;
        const std::vector<std::uint8_t> written = test::sensor_colour(frame.number);
        const auto difference = [&](const std::vector<std::uint8_t>& other) {
            double sum = 0.0;
            for (std::size_t i = 0; i < other.size(); ++i)
                sum += std::abs(int{other[i]} - int{written[i]});
            return sum / static_cast<double>(other.size());
        };
        EXPECT_LT(difference(frame.colour_nv12), 8.0);
        EXPECT_GT(difference(test::sensor_colour(frame.number + 1)), 8.0);
    }
}

TEST_F(RecordingFile, IsUnfinishedUntilItsEnd) {
    {
        host::RecordingWriter writer(test::sensor_setup(path("a.mkv")));
        for (int i = 0; i < 5; ++i)
            test::write_frame(writer, i);
    }
    EXPECT_FALSE(fs::exists(path("a.mkv")));
    const ReadBack back = read_back(path("a.mkv.part"));
    EXPECT_GE(back.frames.size(), 4u);  // the last may still have been on its way
    expect_written(back.frames);
    EXPECT_EQ(back.end, "");
}

TEST_F(RecordingFile, SkipsToATime) {
    make(30);
    host::RecordingReader reader(host::RecordingReader::file(path("made.mkv").string()));
    reader.skip_to(test::sensor_time_us(17));
    host::MediaFrame frame;
    ASSERT_TRUE(reader.next(frame));
    EXPECT_EQ(frame.number, test::sensor_number(17));
    EXPECT_EQ(frame.depth_mm, test::sensor_depth(frame.number));
}

TEST_F(RecordingFile, CutAnywhereKeepsEveryWholeFrame) {
    constexpr int kFrames = 40;
    std::vector<std::size_t> ends;
    const std::string whole = make(kFrames, host::RecordedColour::kNone, &ends);
    std::mt19937 random(1);
    const auto header = ends.front() / 4;
    for (int cut = 0; cut < 200; ++cut) {
        const std::size_t size = header + random() % (whole.size() - header);
        test::write_all(path("cut.mkv"), whole.substr(0, size));
        ReadBack back;
        try {
            back = read_back(path("cut.mkv"));
        } catch (const host::InputError& error) {
            EXPECT_LT(size, ends.front()) << error.what();
            continue;
        }
        const auto complete = std::upper_bound(ends.begin(), ends.end(), size) - ends.begin();
        EXPECT_GE(std::ssize(back.frames), complete) << size;
        EXPECT_LE(std::ssize(back.frames), complete + 2) << size;
        expect_written(back.frames);
        for (std::size_t i = 0; i < back.frames.size(); ++i)
            EXPECT_EQ(back.frames[i].number, test::sensor_number(static_cast<int>(i)));
    }
}

TEST_F(RecordingFile, AFlippedByteCostsNoMoreThanItsFrame) {
    constexpr int kFrames = 30;
    std::vector<std::size_t> ends;
    const std::string whole = make(kFrames, host::RecordedColour::kNone, &ends);
    std::mt19937 random(2);
    int told = 0;
    for (int turn = 0; turn < 200; ++turn) {
        std::string bytes = whole;
        const std::size_t at = ends.front() + random() % (ends.back() - ends.front());
        bytes[at] = static_cast<char>(bytes[at] ^ static_cast<char>(1 + random() % 255));
        test::write_all(path("flipped.mkv"), bytes);
        const ReadBack back = read_back(path("flipped.mkv"));
        EXPECT_GE(std::ssize(back.frames), kFrames - 3) << at;
        // A frame whose line was hit keeps the milliseconds of its timestamp.
        expect_written(back.frames, false);
        if (std::ssize(back.frames) < kFrames && !back.damage.empty()) ++told;
        EXPECT_LE(back.damage.size(), 3u);
    }
    EXPECT_GT(told, 100);
}

TEST_F(RecordingFile, ManyFlippedBytesAreToldInASentenceEach) {
    const std::string whole = make(60);
    std::mt19937 random(3);
    for (int turn = 0; turn < 40; ++turn) {
        std::string bytes = whole;
        for (int i = 0; i < 50; ++i)
            bytes[random() % bytes.size()] = static_cast<char>(random());
        test::write_all(path("bad.mkv"), bytes);
        try {
            EXPECT_LE(read_back(path("bad.mkv")).damage.size(), 8u);
        } catch (const host::InputError& error) {
            EXPECT_THAT(error.what(), HasSubstr("bad.mkv"));
        }
    }
}

TEST_F(RecordingFile, AnotherSizeInTheMiddleIsLeftOutAndTold) {
    // Two recordings in one file, as `cat` makes of them.
    const std::string first = make(10);
    host::RecordingWriter::Setup setup = test::sensor_setup(path("other.mkv"));
    setup.width = 96;
    {
        host::RecordingWriter writer(setup);
        for (int i = 10; i < 20; ++i)
            writer.write({test::sensor_number(i),
                          test::sensor_time_us(i),
                          test::sensor_depth(i, 96, test::kSensorHeight),
                          {}});
        writer.finish(host::RecordingEnd::kSource);
    }
    test::write_all(path("both.mkv"), first + test::read_all(path("other.mkv")));
    const ReadBack back = read_back(path("both.mkv"));
    EXPECT_EQ(back.frames.size(), 10u);
    expect_written(back.frames);
    EXPECT_THAT(back.damage, ElementsAre(AllOf(HasSubstr("10 depth pictures have another size"),
                                               HasSubstr("both.mkv"))));
}

TEST_F(RecordingFile, RefusesWhatIsNoRecordingInOneSentence) {
    const auto refusal = [this](const std::string& bytes) -> std::string {
        test::write_all(path("odd.mkv"), bytes);
        try {
            read_back(path("odd.mkv"));
        } catch (const host::InputError& error) {
            return error.what();
        }
        return "";
    };
    EXPECT_THAT(refusal(""), HasSubstr("odd.mkv"));
    EXPECT_THAT(refusal("no recording"), HasSubstr("odd.mkv"));
    EXPECT_THAT(refusal(std::string(100000, '\0')), HasSubstr("odd.mkv"));
    // A playlist, which could make the program open something else.
    EXPECT_THAT(refusal("ffconcat version 1.0\nfile /etc/passwd\n"), HasSubstr("odd.mkv"));
    EXPECT_THROW(read_back(path("missing.mkv")), host::InputError);
}

TEST_F(RecordingFile, RefusesARecordingWithoutDepth) {
    host::MatroskaFile file(path("text.mkv.part").string());
    const int track = file.add_text_track("EVENTS");
    file.open({});
    file.write_text(track, 0, 66, "{}");
    file.finish_as(path("text.mkv").string());
    EXPECT_THAT([&] { read_back(path("text.mkv")); },
                ::testing::ThrowsMessage<host::InputError>(
                    AllOf(HasSubstr("text.mkv"), HasSubstr("no depth"))));
}

TEST_F(RecordingFile, StopsWhenAsked) {
    make(30);
    bool stop = false;
    host::RecordingReader::Setup setup = host::RecordingReader::file(path("made.mkv").string());
    setup.stop = [&stop] { return stop; };
    host::RecordingReader reader(setup);
    host::MediaFrame frame;
    ASSERT_TRUE(reader.next(frame));
    stop = true;
    int more = 0;
    while (reader.next(frame))
        ++more;
    EXPECT_LE(more, 29);
}

// Without an index, a length or a way back.
TEST_F(RecordingFile, IsReadFromAPipe) {
    const std::string whole = make(12);
    ASSERT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);
    std::thread sender([&] { test::write_all(path("pipe"), whole); });
    const ReadBack back = read_back(path("pipe"));
    sender.join();
    EXPECT_EQ(back.frames.size(), 12u);
    expect_written(back.frames);
    EXPECT_EQ(back.end, "source");
}

TEST_F(RecordingFile, SaysWhyItCannotBeWritten) {
    EXPECT_THAT([] { host::RecordingWriter(test::sensor_setup("/no/such/folder/a.mkv")); },
                ::testing::ThrowsMessage<std::runtime_error>(
                    AllOf(HasSubstr("/no/such/folder/a.mkv"), HasSubstr("No such file"))));
    host::RecordingWriter writer(test::sensor_setup(path("a.mkv")));
    const std::vector<std::uint16_t> few(10);
    EXPECT_THROW(writer.write({0, 0, few, {}}), std::runtime_error);
}

}  // namespace
