// Borrowing one frame set from the host and giving it back.
#include "frame/frame_state.h"

namespace {

void release_frame(AVS_IVE_FRAME_S& frame) {
    if (frame.vir_addr != 0) {
        ss_mpi_sys_munmap(reinterpret_cast<void*>(static_cast<uintptr_t>(frame.vir_addr)),
                          frame.map_size);
        frame.vir_addr = 0;
    }
    if (frame.vb_blk != VCA_VB_NONE) {
        ss_mpi_vb_release_blk(frame.vb_blk);
        frame.vb_blk = VCA_VB_NONE;
    }
}

void release_frames(AVS_IVE_ALL_S& held) {
    release_frame(held.real);
    release_frame(held.depth);
    release_frame(held.raw);
}

void point_image_at(VCA_IMAGE_S& image, const AVS_IVE_FRAME_S& frame) {
    image.plane_addr = frame.vir_addr;
    image.map_addr = frame.vir_addr;
    image.frame_word = frame.word0;
}

}  // namespace

int32_t vca_data_get_real_depth(VCA_CTRL_S* ctrl) {
    AVS_IVE_ALL_S& held = vca::frame_state().held;
    held = avs_read_all_ive();
    const bool complete = held.real.vb_blk != VCA_VB_NONE && held.depth.vb_blk != VCA_VB_NONE &&
                          held.raw.vb_blk != VCA_VB_NONE;
    if (!complete) {
        release_frames(held);
        held.flag = 0;
        return -1;
    }
    ctrl->frame_flag = held.flag;
    point_image_at(ctrl->real_img, held.real);
    point_image_at(ctrl->depth_img, held.depth);
    point_image_at(ctrl->raw_img, held.raw);
    return 0;
}

int32_t vca_data_put_real_depth(VCA_CTRL_S*) {
    AVS_IVE_ALL_S& held = vca::frame_state().held;
    if (held.flag == 0) return 0;
    release_frames(held);
    held.flag = 0;
    return 0;
}
