#include "object/attr_debug.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>

#include "base/log.h"
#include "base/working_size.h"
#include "object/object_state.h"
#include "vca/platform.h"

namespace {

constexpr char kLogName[] = "vca_obj_deal_human_attr";

constexpr char kTestFolder[] = "/opt/app/algo/ai/head";
constexpr char kCropFolder[] = "/opt/app/algo/hd/";
constexpr char kFrameFolder[] = "/opt/app/algo/";
constexpr uint32_t kTestCall = 10;

// The files of the folder, sorted by name; false when the folder does not exist.
bool list_files(const char* folder, std::vector<std::string>& files) {
    namespace fs = std::filesystem;
    std::error_code error;
    fs::directory_iterator entry(folder, error);
    if (error) return false;
    for (; entry != fs::directory_iterator(); entry.increment(error)) {
        std::error_code unknown;
        if (!entry->is_directory(unknown)) files.push_back(entry->path().string());
        if (error) break;
    }
    std::sort(files.begin(), files.end());
    return true;
}

// Fills an NV12 image, if there is one, with a file's bytes, rows without padding; a short file
// leaves the rest unchanged. False when the file cannot be opened.
bool read_image(const char* path, const VCA_IMAGE_S& image) {
    std::FILE* file = std::fopen(path, "rb");
    if (file == nullptr) return false;
    auto* row = reinterpret_cast<uint8_t*>(static_cast<uintptr_t>(image.plane_addr));
    const uint32_t rows = row == nullptr ? 0 : image.height + image.height / 2;
    for (uint32_t y = 0; y < rows && std::fread(row, 1, image.width, file) == image.width; ++y)
        row += image.stride;
    std::fclose(file);
    return true;
}

void classify_file(int index, const char* path, const VCA_IMAGE_S& image) {
    VCA_LOG_AS(kLogName, "read[%d] %s to test!", index, path);
    if (!read_image(path, image)) {
        VCA_LOG_AS(kLogName, "open file %s fail!", path);
        return;
    }
    if (image.plane_addr == 0) return;
    VCA_NN_RESULT_S unused;  // room for a host that writes too much
    vca_nn_classification(vca::control_block().attr_model, &image, &unused);
}

void save_crop(const TRACKER_RSLT_S& trk) {
    char path[160];
    std::snprintf(path, sizeof(path), "%strk_%d-age_%d-gender_%d_%.2f-staff_%d-224x224.nv12",
                  kCropFolder, trk.trackId, trk.age, trk.genderKeep,
                  static_cast<double>(trk.genderMaxProb), trk.staffKeep);
    vca_save_yuv_image(&trk.attrImg, path);
    VCA_LOG_AS(kLogName, "Save-%s", path);
}

void save_frame(const TRACKER_RSLT_S& trk) {
    const VCA_CTRL_S& ctrl = vca::control_block();
    const std::string stem =
        kFrameFolder + std::to_string(ctrl.frame_flag) + "-trk_" + std::to_string(trk.trackId);
    const std::string real = stem + "-real-960x544";
    const std::string depth = stem + "-depth-480x256";
    const std::string head = stem + "-head-224x224";
    vca_save_yuv_image(&ctrl.real_img, real.c_str());
    vca_save_yuv_image(&ctrl.depth_img, depth.c_str());
    vca_save_yuv_image(&trk.attrImg, head.c_str());
    VCA_LOG_AS(kLogName, "Save ONE: %s %s %s", real.c_str(), depth.c_str(), head.c_str());
    const auto* table = reinterpret_cast<const LOG_DBG_S*>(vca_get_logs_dbg());
    tq_system((std::string("rm ") + table[vca::kDbgSaveOne].path).c_str());
}

}  // namespace

void vca::test_attribute_model() {
    if (object_state().attr_test_calls++ != kTestCall) return;
    std::vector<std::string> files;
    if (!list_files(kTestFolder, files)) {
        VCA_LOG_AS(kLogName, "Folder doesn't Exist!");
        return;
    }
    VCA_IMAGE_S image{};
    vca_create_image(&image, VCA_IMAGE_NV12, working_width(VCA_SIZE_CROP),
                     working_height(VCA_SIZE_CROP));
    for (size_t i = 0; i < files.size(); ++i)
        classify_file(static_cast<int>(i), files[i].c_str(), image);
    vca_destroy_image(&image);
}

void vca::capture_images(const TRACKER_RSLT_S& trk) {
    if (debug_on(kDbgSaveHead) && trk.age % 2 == 0) save_crop(trk);
    // One frame per touch of the flag file: once removed, the switch goes off at the next check.
    const bool save_one = debug_on(kDbgSaveOne);
    bool& frame_saved = object_state().frame_saved;
    if (save_one && !frame_saved) save_frame(trk);
    frame_saved = save_one;
}
