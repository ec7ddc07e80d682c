// The functions that the library asks of its host, played by the fake platform.
#include "tests/support/fake_platform.h"

using fake::platform;

extern "C" {

int tq_mutex_init(TQ_MUTEX_S* mutex) {
    platform().note_pointer("tq_mutex_init", mutex);
    platform().set_up_mutex(*mutex);
    return 0;
}

int tq_mutex_lock(TQ_MUTEX_S* mutex) {
    platform().note_pointer("tq_mutex_lock", mutex);
    platform().lock(*mutex);
    return 0;
}

int tq_mutex_unlock(TQ_MUTEX_S* mutex) {
    platform().note_pointer("tq_mutex_unlock", mutex);
    platform().unlock(*mutex);
    return 0;
}

int tq_mutex_uninit(TQ_MUTEX_S* mutex) {
    platform().note_pointer("tq_mutex_uninit", mutex);
    platform().tear_down_mutex(*mutex);
    return 0;
}

int tq_task_create_join(TQ_TASK_S* task, void* (*entry)(void*), void* arg) {
    platform().note("tq_task_create_join(%s,%s)",
                    entry == vca_algo_main_task ? "main_task" : "other",
                    arg == nullptr ? "null" : "arg");
    platform().start_task(*task, entry, arg);
    return 0;
}

int tq_task_join(TQ_TASK_S* task) {
    platform().note("tq_task_join");
    platform().join_task(*task);
    return 0;
}

int tq_task_set_name(const char* name) {
    platform().note("tq_task_set_name(%s)", name);
    return 0;
}

int tq_system(const char* command) {
    platform().note("tq_system(%s)", command);
    return platform().run_command(command);
}

int sock_request_register(const SOCK_REQUEST_S* table, int count) {
    platform().note("sock_request_register(%d)", count);
    platform().register_handlers(table, count);
    return 0;
}

int sock_request_unregister(const SOCK_REQUEST_S* table, int count) {
    platform().note("sock_request_unregister(%d)", count);
    platform().unregister_handlers(table, count);
    return 0;
}

int tq_sock_send_msg(int channel, int id, void* payload, int length) {
    platform().note("tq_sock_send_msg(%d,%d,%d)", channel, id, length);
    return platform().send(channel, id, payload, length);
}

int vca_mem_init(VCA_CTRL_S* ctrl) {
    platform().note_pointer("vca_mem_init", ctrl);
    ctrl->real_img = {
        VCA_IMAGE_NV12, fake::kColourWidth, fake::kColourHeight, fake::kColourWidth, 0, 0, 0, 0};
    ctrl->depth_img = ctrl->real_img;
    const uint32_t width = platform().raw_width;
    ctrl->raw_img = {VCA_IMAGE_U16, width, platform().raw_height, 2 * width, 0, 0, 0, 0};
    return 0;
}

int vca_mem_uninit(VCA_CTRL_S* ctrl) {
    platform().note_pointer("vca_mem_uninit", ctrl);
    return 0;
}

int vca_cvai_init(VCA_CTRL_S* ctrl) {
    platform().note_pointer("vca_cvai_init", ctrl);
    ctrl->real_model = fake::kColourModel;
    ctrl->depth_model = fake::kDepthModel;
    ctrl->attr_model = fake::kAttrModel;
    ctrl->staff_model = fake::kStaffModel;
    return 0;
}

int vca_cvai_uninit(VCA_CTRL_S* ctrl) {
    platform().note_pointer("vca_cvai_uninit", ctrl);
    return 0;
}

int avs_set_conf_thr(int percent) {
    platform().note("avs_set_conf_thr(%d)", percent);
    return 0;
}

const NN_MODEL_CFG_S* vca_nn_get_pModel_cfg(NN_MODEL_TYPE_E model) {
    platform().note("vca_nn_get_pModel_cfg(%d)", model);
    return platform().model_config(model);
}

int vca_nn_detection(NN_MODEL_TYPE_E model, const VCA_IMAGE_S* image, void* result) {
    platform().note_detection(model, image);
    return platform().detect(model, image, result);
}

int vca_nn_classification(NN_MODEL_TYPE_E model, const VCA_IMAGE_S* image, void* result) {
    platform().note("vca_nn_classification(%d)", model);
    return platform().classify(model, image, result);
}

int vca_create_image(VCA_IMAGE_S* img, int type, int width, int height) {
    platform().note("vca_create_image(%d,%d,%d)", type, width, height);
    return platform().create_image(*img, type, width, height);
}

int vca_destroy_image(VCA_IMAGE_S* img) {
    platform().note("vca_destroy_image");
    platform().destroy_image(*img);
    return 0;
}

int vca_image_crop_letter(const VCA_IMAGE_S* src, const VCA_RGN_S* rgn, VCA_IMAGE_S* dst) {
    platform().note("vca_image_crop_letter(%d,%d,%d,%d)", rgn->x, rgn->y, rgn->width, rgn->height);
    return platform().crop_letter(*src, *rgn, *dst);
}

int vca_save_yuv_image(const VCA_IMAGE_S* img, const char* path) {
    platform().note("vca_save_yuv_image(%ux%u,%s)", img->width, img->height, path);
    return platform().save(*img, path);
}

AVS_IVE_ALL_S avs_read_all_ive(void) {
    platform().note("avs_read_all_ive");
    return platform().lend_set();
}

int ss_mpi_vb_release_blk(uint32_t block) {
    platform().note("ss_mpi_vb_release_blk(%u)", block);
    platform().take_back_block(block);
    return 0;
}

int ss_mpi_sys_munmap(void* addr, uint32_t size) {
    platform().note("ss_mpi_sys_munmap(%u)", size);
    platform().take_back_mapping(addr, size);
    return 0;
}

int ioutracker_init(int inst, int max_lost, int min_hits) {
    platform().note("ioutracker_init(%d,%d,%d)", inst, max_lost, min_hits);
    platform().tracker_started(inst);
    return 0;
}

int ioutracker_set_conf_thresh(int inst, float lo, float hi) {
    platform().note("ioutracker_set_conf_thresh(%d,%.9g,%.9g)", inst, static_cast<double>(lo),
                    static_cast<double>(hi));
    return 0;
}

int ioutracker_objects_reset(int inst) {
    platform().note("ioutracker_objects_reset(%d)", inst);
    platform().reset_objects(inst);
    return 0;
}

int ioutracker_add_object(int inst, const IOU_TRK_OBJ_S* obj) {
    platform().note("ioutracker_add_object(%d,%d)", inst, obj->det_idx);
    platform().add_object(inst, *obj);
    return 0;
}

IOU_TRK_RSLT_S ioutracker_update(int inst) {
    platform().note("ioutracker_update(%d)", inst);
    return platform().update_tracker(inst);
}

int ioutracker_uninit(int inst) {
    platform().note("ioutracker_uninit(%d)", inst);
    return 0;
}

}  // extern "C"
