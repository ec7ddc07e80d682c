// What configuration and debug switches make of the attribute stage: masked decisions, the test
// mode over a folder of crops, the captured images.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "tests/object/human_attr_fixture.h"
#include "tests/support/private_opt.h"

namespace {

using attr::HumanAttr;
using test::host;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

// ---- Configuration masks ----

struct Mask : HumanAttr {
    void configure(int gender, int staff) {
        fix::cfg().GenderRecognize = static_cast<uint8_t>(gender);
        fix::cfg().StaffDetection = static_cast<uint8_t>(staff);
    }

    void decided(int32_t gender, int32_t staff) {
        trk->genderKeep = gender;
        trk->genderMaxProb = 100.0f;
        trk->staffKeep = staff;
        trk->curObj.gender = 7;
        trk->curObj.staff = 7;
    }
};

TEST_F(Mask, DecisionsGoIntoTheBox) {
    const struct { int32_t kept, box; } rows[] = {{0, 0}, {1, 1}, {2, 2}, {3, 0}, {-1, 0}};
    for (const auto& row : rows) {
        decided(row.kept, 1);
        update();
        EXPECT_EQ(trk->curObj.gender, row.box) << row.kept;
        EXPECT_EQ(trk->curObj.staff, 1);
        EXPECT_EQ(trk->staffKeep, 1);
        if (row.box != 0) {
            EXPECT_EQ(trk->genderKeep, row.kept);
        }
    }
    decided(1, 0);
    update();
    EXPECT_EQ(trk->curObj.staff, 0);
}

TEST_F(Mask, SwitchedOffReadsAsUnknownAndNoStaff) {
    for (const int gender : {0, 1, 2}) {
        for (const int staff : {0, 1, 2}) {
            configure(gender, staff);
            decided(2, 1);
            update();
            EXPECT_EQ(trk->genderKeep, gender != 0 ? VCA_GENDER_FEMALE : VCA_GENDER_UNKNOWN);
            EXPECT_EQ(trk->curObj.gender, gender != 0 ? VCA_GENDER_FEMALE : VCA_GENDER_UNKNOWN);
            EXPECT_EQ(trk->staffKeep, staff != 0 ? 1 : 0);
            EXPECT_EQ(trk->curObj.staff, staff != 0 ? 1 : 0);
        }
    }
}

TEST_F(Mask, ModelsRunWhileSwitchedOff) {
    configure(0, 0);
    host().gender_answer = test::GenderAnswer{1, 0.75f, 0.125f};
    host().staff_answer = test::StaffAnswer{1, 0.5f};
    std::string letters;
    for (int i = 0; i < 6; ++i) {
        update();
        letters += attr::asked();
        EXPECT_EQ(trk->genderKeep, 0);
        EXPECT_EQ(trk->staffKeep, 0);
    }
    EXPECT_EQ(letters, "GSGSGS");
    EXPECT_THAT(trk->attrSamples, SizeIs(6));
    EXPECT_EQ(trk->genderMaxProb, 2.25f);
    EXPECT_EQ(trk->staffChkCnt, 2u);
}

TEST_F(Mask, StaffThatWasCountedComesBackWhenSwitchedOn) {
    configure(1, 0);
    host().staff_answer = test::StaffAnswer{1, 0.5f};
    for (int i = 0; i < 4; ++i)
        update();
    EXPECT_EQ(trk->staffKeep, 0);
    configure(1, 1);
    host().staff_answer = test::StaffAnswer{0, 0.5f};
    update();
    EXPECT_EQ(trk->staffKeep, 1);
    EXPECT_EQ(trk->curObj.staff, 1);
}

TEST_F(Mask, GenderMustBeatWhatItReachedWhileSwitchedOff) {
    configure(0, 1);
    host().gender_answer = test::GenderAnswer{1, 0.75f, 0.125f};
    for (int i = 0; i < 6; ++i)
        update();
    configure(1, 1);
    trk->age = 1;  // a staff update: the sums stay at 2.25
    update();
    EXPECT_EQ(trk->genderKeep, 0);
    update();
    EXPECT_EQ(trk->genderKeep, 1);
    EXPECT_EQ(trk->genderMaxProb, 3.0f);
}

TEST_F(Mask, HoldsInTestModeToo) {
    attr::set_switch(attr::kSwTestMode, true);
    configure(0, 0);
    decided(2, 1);
    update();
    EXPECT_EQ(trk->genderKeep, 0);
    EXPECT_EQ(trk->curObj.gender, 0);
    EXPECT_EQ(trk->staffKeep, 0);
    EXPECT_EQ(trk->curObj.staff, 0);
    configure(1, 1);
    decided(2, 1);
    update();
    EXPECT_EQ(trk->curObj.gender, 2);
    EXPECT_EQ(trk->curObj.staff, 1);
}

// ---- Test mode ----

struct TestMode : HumanAttr {
    const std::filesystem::path folder = "/opt/app/algo/ai/head";

    void SetUp() override {
        HumanAttr::SetUp();
        attr::set_switch(attr::kSwTestMode, true);
        host().record_pixels = true;
    }

    static size_t judged() { return host().attr_calls().size(); }

    void calls(int count) {
        for (int i = 0; i < count; ++i)
            update();
    }

    void make_folder() const { std::filesystem::create_directories(folder); }

    // A file of bytes that follow from its seed and the place.
    void make_file(const std::string& name, size_t size, uint8_t seed) const {
        std::string bytes(size, '\0');
        for (size_t i = 0; i < size; ++i)
            bytes[i] = static_cast<char>(seed + i * 31 % 251);
        std::ofstream(folder / name, std::ios::binary) << bytes;
    }
};

constexpr size_t kCropBytes = 224 * 224 * 3 / 2;

TEST_F(TestMode, TakesThePlaceOfTheSteps) {
    attr::set_switch(attr::kSwAttr, true);
    attr::set_switch(attr::kSwSaveHd, true);
    EXPECT_THAT(fix::printed_by([&] { calls(10); }), IsEmpty());
    EXPECT_THAT(trk->attrSamples, IsEmpty());
    EXPECT_THAT(host().call_texts(), IsEmpty());
    trk->attrSamples = {attr::staff_sample(1, 0.5f), attr::staff_sample(1, 0.5f)};
    calls(5);
    EXPECT_THAT(trk->attrSamples, SizeIs(2));
    EXPECT_EQ(trk->staffKeep, 0);
    // and they go on when the switch goes off
    attr::set_switch(attr::kSwAttr, false);
    attr::set_switch(attr::kSwSaveHd, false);
    attr::set_switch(attr::kSwTestMode, false);
    trk->age = 0;
    update();
    EXPECT_EQ(attr::asked(), "G");
    EXPECT_THAT(trk->attrSamples, SizeIs(3));
}

TEST_F(TestMode, MissingFolderIsLoggedOnceOnTheEleventhCall) {
    const test::PrivateOpt opt;
    ASSERT_TRUE(opt.ready()) << "needs root or user namespaces";
    EXPECT_THAT(fix::printed_by([&] { calls(10); }), IsEmpty());
    EXPECT_THAT(fix::printed_by([&] { calls(1); }), ElementsAre("log: Folder doesn't Exist!"));
    EXPECT_THAT(fix::printed_by([&] { calls(40); }), IsEmpty());
    EXPECT_EQ(judged(), 0u);
}

TEST_F(TestMode, CountsTheCallsOfAllTracksWhileItIsOn) {
    const test::PrivateOpt opt;
    ASSERT_TRUE(opt.ready()) << "needs root or user namespaces";
    auto other = fix::new_track(6);
    EXPECT_THAT(fix::printed_by([&] {
                    for (int i = 0; i < 4; ++i) {
                        update();
                        vca_obj_deal_human_attr(other.get(), &real, 0);
                    }
                    attr::set_switch(attr::kSwTestMode, false);
                    calls(30);
                    attr::set_switch(attr::kSwTestMode, true);
                    calls(2);
                }),
                IsEmpty());
    EXPECT_THAT(fix::printed_by([&] { vca_obj_deal_human_attr(other.get(), &real, 0); }),
                ElementsAre("log: Folder doesn't Exist!"));
}

TEST_F(TestMode, EveryFileIsClassified) {
    const test::PrivateOpt opt;
    ASSERT_TRUE(opt.ready()) << "needs root or user namespaces";
    make_folder();
    make_file("a.nv12", kCropBytes, 3);
    make_file("b.nv12", kCropBytes, 50);
    make_file("c.nv12", kCropBytes, 9);
    calls(10);
    const size_t alive = host().images_alive();
    host().clear_calls();
    const auto printed = fix::printed_by([&] { calls(1); });
    ASSERT_THAT(printed, SizeIs(3));
    const auto steps = host().attr_calls();
    ASSERT_THAT(steps, SizeIs(3));
    const std::string names[] = {"a.nv12", "b.nv12", "c.nv12"};
    const uint8_t seeds[] = {3, 50, 9};
    for (size_t i = 0; i < 3; ++i) {
        // The order of a folder is the file system's; the lines and the runs go together.
        EXPECT_THAT(printed[i], StartsWith("log: read[" + std::to_string(i) + "] "));
        EXPECT_THAT(printed[i], EndsWith(" to test!"));
        EXPECT_EQ(steps[i].kind, test::AttrCall::kGender);
        EXPECT_EQ(steps[i].image.width, 224u);
        EXPECT_EQ(steps[i].image.height, 224u);
        ASSERT_THAT(steps[i].pixels, SizeIs(kCropBytes));
        const auto name = std::find_if(std::begin(names), std::end(names), [&](const auto& n) {
            return printed[i].find(n) != std::string::npos;
        });
        ASSERT_NE(name, std::end(names)) << printed[i];
        const uint8_t seed = seeds[name - std::begin(names)];
        for (size_t k = 0; k < kCropBytes; k += 97)
            ASSERT_EQ(steps[i].pixels[k], static_cast<uint8_t>(seed + k * 31 % 251)) << k;
    }
    EXPECT_EQ(host().count_calls("vca_nn_classification(103)"), 3);
    EXPECT_EQ(host().images_alive(), alive);
    for (const auto& name : names)
        EXPECT_EQ(
            std::count_if(printed.begin(), printed.end(),
                          [&](const auto& line) { return line.find(name) != std::string::npos; }),
            1)
            << name;
}

TEST_F(TestMode, FileThatCannotBeOpenedIsLogged) {
    const test::PrivateOpt opt;
    ASSERT_TRUE(opt.ready()) << "needs root or user namespaces";
    make_folder();
    make_file("good.nv12", kCropBytes, 1);
    // Leads nowhere; rights alone do not keep root out.
    std::filesystem::create_symlink(folder / "nothing", folder / "bad.nv12");
    calls(10);
    const auto printed = fix::printed_by([&] { calls(1); });
    EXPECT_THAT(printed,
                testing::Contains(testing::AllOf(StartsWith("log: open file "),
                                                 HasSubstr("bad.nv12"), EndsWith(" fail!"))));
    EXPECT_THAT(printed,
                testing::Contains(testing::AllOf(StartsWith("log: read["), HasSubstr("good.nv12"),
                                                 EndsWith(" to test!"))));
    EXPECT_EQ(judged(), 1u);
}

TEST_F(TestMode, FilesOfAnyLengthDoNoHarm) {
    const test::PrivateOpt opt;
    ASSERT_TRUE(opt.ready()) << "needs root or user namespaces";
    make_folder();
    make_file("empty", 0, 0);
    make_file("short", 1000, 1);
    make_file("long", 3 * kCropBytes + 7, 2);
    std::filesystem::create_directory(folder / "subfolder");
    calls(11);
    EXPECT_GE(judged(), 1u);
    EXPECT_THAT(trk->attrSamples, IsEmpty());
}

TEST_F(TestMode, EmptyFolderIsNoMissingFolder) {
    const test::PrivateOpt opt;
    ASSERT_TRUE(opt.ready()) << "needs root or user namespaces";
    make_folder();
    EXPECT_THAT(fix::printed_by([&] { calls(12); }), IsEmpty());
    EXPECT_EQ(judged(), 0u);
}

TEST_F(TestMode, FilesComeInTheOrderOfTheirNames) {
    const test::PrivateOpt opt;
    ASSERT_TRUE(opt.ready()) << "needs root or user namespaces";
    make_folder();
    const std::string names[] = {"f", "b", "d", "a", "e", "c", "h", "g"};
    for (const auto& name : names)
        make_file(name, 10, 1);
    calls(10);
    const auto printed = fix::printed_by([&] { calls(1); });
    ASSERT_THAT(printed, SizeIs(8));
    for (size_t i = 0; i < 8; ++i)
        EXPECT_EQ(printed[i], "log: read[" + std::to_string(i) + "] " + folder.string() + "/" +
                                  static_cast<char>('a' + i) + " to test!");
}

TEST_F(TestMode, WithoutAnImageNothingIsClassified) {
    const test::PrivateOpt opt;
    ASSERT_TRUE(opt.ready()) << "needs root or user namespaces";
    make_folder();
    make_file("a.nv12", kCropBytes, 3);
    host().image_fails = [](int) { return true; };
    calls(10);
    EXPECT_THAT(fix::printed_by([&] { calls(1); }), SizeIs(1));
    EXPECT_EQ(judged(), 0u);
}

TEST_F(TestMode, ClassifierThatWritesTooMuchDamagesNothing) {
    const test::PrivateOpt opt;
    ASSERT_TRUE(opt.ready()) << "needs root or user namespaces";
    make_folder();
    make_file("a.nv12", kCropBytes, 3);
    host().on_classification = [](auto, auto, void* result) {
        std::memset(result, 0x3F, sizeof(VCA_NN_RESULT_S));
    };
    calls(11);
    EXPECT_EQ(judged(), 1u);
    EXPECT_THAT(trk->attrSamples, IsEmpty());
    EXPECT_EQ(trk->trackId, 5);
}

// ---- Captures ----

struct Capture : HumanAttr {
    void SetUp() override {
        HumanAttr::SetUp();
        // The frame's images are the control block's.
        vca_mem_init(vca_get_pCtrl_param());
        host().clear_calls();
    }
    VCA_CTRL_S& ctrl = *vca_get_pCtrl_param();
};

TEST_F(Capture, CropIsSavedOnEvenAges) {
    attr::set_switch(attr::kSwSaveHd, true);
    for (int age = 0; age < 12; ++age) {
        host().clear_calls();
        const auto printed = fix::printed_by([&] { update(30); });
        const auto saved = host().saved_images();
        if (age % 2 == 1) {
            EXPECT_THAT(saved, IsEmpty()) << age;
            EXPECT_THAT(printed, IsEmpty()) << age;
            continue;
        }
        ASSERT_THAT(saved, SizeIs(1)) << age;
        EXPECT_EQ(saved[0].record.host_handle, trk->attrImg.host_handle);
        EXPECT_THAT(saved[0].path, StartsWith("/opt/app/algo/hd/"));
        EXPECT_THAT(saved[0].path, HasSubstr("-staff_"));
        EXPECT_THAT(saved[0].path, EndsWith("-224x224.nv12"));
        EXPECT_EQ(saved[0].path.find('/', 17), std::string::npos) << "no folder of its own";
        ASSERT_THAT(printed, SizeIs(1));
        EXPECT_THAT(printed[0], StartsWith("log: Save-"));
        EXPECT_THAT(saved[0].path, EndsWith(printed[0].substr(10)));
        EXPECT_THAT(printed[0], HasSubstr("-staff_"));
    }
}

TEST_F(Capture, NamesOfCropsTellTracksAndUpdatesApart) {
    attr::set_switch(attr::kSwSaveHd, true);
    auto other = fix::new_track(6);
    for (int i = 0; i < 20; ++i) {
        update();
        vca_obj_deal_human_attr(other.get(), &real, 0);
        ++other->age;
    }
    std::vector<std::string> paths;
    for (const auto& image : host().saved_images())
        paths.push_back(image.path);
    ASSERT_THAT(paths, SizeIs(20));
    std::sort(paths.begin(), paths.end());
    EXPECT_EQ(std::adjacent_find(paths.begin(), paths.end()), paths.end());
}

TEST_F(Capture, NameHoldsTheDecisionOfThisUpdate) {
    attr::set_switch(attr::kSwSaveHd, true);
    trk->age = 4;
    trk->attrSamples = {attr::staff_sample(1, 0.5f), attr::staff_sample(1, 0.5f)};
    update();
    ASSERT_THAT(host().saved_images(), SizeIs(1));
    EXPECT_THAT(host().saved_images()[0].path, HasSubstr("-staff_1"));
}

TEST_F(Capture, CropIsNamedBeforeTheAttributesArePrinted) {
    attr::set_switch(attr::kSwSaveHd, true);
    attr::set_switch(attr::kSwAttr, true);
    const auto printed = fix::printed_by([&] { update(); });
    ASSERT_GE(printed.size(), 3u);
    const auto last = printed.end();
    EXPECT_THAT(last[-3], StartsWith("log: Save-"));
    EXPECT_THAT(last[-2], StartsWith("log: Obj[5]"));
    EXPECT_THAT(last[-1], StartsWith("log: Trk[5]"));
}

TEST_F(Capture, WildNumbersFitIntoTheName) {
    attr::set_switch(attr::kSwSaveHd, true);
    attr::set_switch(attr::kSwSaveOne, true);
    trk->trackId = INT32_MIN;
    trk->age = INT32_MIN;
    trk->genderMaxProb = -3.0e38f;
    trk->genderKeep = INT32_MIN;
    trk->staffKeep = INT32_MIN;
    trk->staffConf = -3.0e38f;
    ctrl.frame_flag = UINT32_MAX;
    vca_obj_deal_human_attr(trk.get(), &real, 0);
    const auto saved = host().saved_images();
    ASSERT_THAT(saved, SizeIs(4));
    EXPECT_THAT(saved[0].path, HasSubstr("-staff_"));
    EXPECT_THAT(saved[0].path, EndsWith("-224x224.nv12"));
}

TEST_F(Capture, ImagesOfOneFrame) {
    attr::set_switch(attr::kSwSaveOne, true);
    const auto printed = fix::printed_by([&] { update(); });
    const auto saved = host().saved_images();
    ASSERT_THAT(saved, SizeIs(3));
    EXPECT_EQ(saved[0].image, &ctrl.real_img);
    EXPECT_EQ(saved[1].image, &ctrl.depth_img);
    EXPECT_EQ(saved[2].record.host_handle, trk->attrImg.host_handle);
    const std::string endings[] = {"-real-960x544", "-depth-480x256", "-head-224x224"};
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_THAT(saved[i].path, StartsWith("/opt/app/algo/"));
        EXPECT_THAT(saved[i].path, EndsWith(endings[i]));
        EXPECT_EQ(saved[i].path.find('/', 14), std::string::npos);
    }
    EXPECT_THAT(printed, ElementsAre("log: Save ONE: " + saved[0].path + " " + saved[1].path + " " +
                                     saved[2].path));
    const auto calls = host().call_texts();
    EXPECT_EQ(calls.back(), "tq_system(rm /tmp/save-one)");
    EXPECT_EQ(host().count_calls("tq_system"), 1);
}

TEST_F(Capture, OneFrameForEachTouchOfTheFile) {
    auto other = fix::new_track(6);
    attr::set_switch(attr::kSwSaveOne, true);
    for (int i = 0; i < 5; ++i) {
        update();
        vca_obj_deal_human_attr(other.get(), &real, 0);
    }
    EXPECT_THAT(host().saved_images(), SizeIs(3));
    EXPECT_EQ(host().count_calls("tq_system"), 1);
    attr::set_switch(attr::kSwSaveOne, false);  // the file was seen gone
    update();
    EXPECT_THAT(host().saved_images(), SizeIs(3));
    attr::set_switch(attr::kSwSaveOne, true);  // and was touched again
    update();
    EXPECT_THAT(host().saved_images(), SizeIs(6));
    EXPECT_EQ(host().count_calls("tq_system"), 2);
}

TEST_F(Capture, ComesAfterTheVoteAndChangesNothing) {
    host().gender_answer = test::GenderAnswer{2, 0.25f, 0.625f};
    host().staff_answer = test::StaffAnswer{1, 0.5f};
    auto plain = fix::new_track(5);
    plain->curObj = trk->curObj;
    for (int i = 0; i < 30; ++i) {
        vca_obj_deal_human_attr(plain.get(), &real, 0);
        ++plain->age;
    }
    attr::set_switch(attr::kSwSaveHd, true);
    attr::set_switch(attr::kSwSaveOne, true);
    for (int i = 0; i < 30; ++i)
        update();
    EXPECT_EQ(trk->genderKeep, plain->genderKeep);
    EXPECT_EQ(trk->genderMaxProb, plain->genderMaxProb);
    EXPECT_EQ(trk->genderMean, plain->genderMean);
    EXPECT_EQ(trk->staffKeep, plain->staffKeep);
    EXPECT_EQ(trk->staffConf, plain->staffConf);
    EXPECT_EQ(trk->attrSamples.size(), plain->attrSamples.size());
    attr::set_switch(attr::kSwSaveOne, false);
    update();
    attr::set_switch(attr::kSwAttr, true);
    attr::set_switch(attr::kSwSaveOne, true);
    trk->age = 30;
    const auto printed = fix::printed_by([&] { update(); });
    ASSERT_THAT(printed, SizeIs(7));
    EXPECT_EQ(printed[0], "plain: Attr: ");
    EXPECT_EQ(printed[2], "log: [5] Staff=1 chkCnt=2 chkMax=5");
    const auto find = [&](const std::string& start) {
        return std::find_if(printed.begin(), printed.end(),
                            [&](const auto& line) { return line.starts_with(start); });
    };
    EXPECT_GT(find("log: Save-"), find("log: [5] Staff="));
    EXPECT_GT(find("log: Save ONE: "), find("log: [5] Staff="));
    EXPECT_NE(find("log: Save ONE: "), printed.end());
}

TEST_F(Capture, NothingWithoutTheSwitches) {
    for (int i = 0; i < 12; ++i)
        update();
    EXPECT_THAT(host().saved_images(), IsEmpty());
    EXPECT_EQ(host().count_calls("tq_system"), 0);
}

}  // namespace
