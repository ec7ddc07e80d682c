/* Lifecycle of the library, the control block shared with the host, frame sets and the bus.
 *
 * Calling order: vca_base_init, vca_algo_init; at shut-down vca_algo_uninit, vca_base_uninit. The
 * two stages may also be cycled independently: the analysis idles while the base stage is down. */
#ifndef VCA_FRAME_H
#define VCA_FRAME_H

#include "vca/image.h"

VCA_EXTERN_C_BEGIN

/* Width and height in pixels. */
typedef struct VCA_SIZE_S {
    uint32_t width;  /* pixels */
    uint32_t height; /* pixels */
} VCA_SIZE_S;

VCA_CHECK_SIZE(VCA_SIZE_S, 8);
VCA_CHECK_OFFSET(VCA_SIZE_S, height, 4);

/* Indices into VCA_CTRL_S.img_size. */
enum {
    VCA_SIZE_MERGE = 0,  /* 960 x 540: merge of detections, exclusion polygons */
    VCA_SIZE_COLOUR = 1, /* 960 x 544: the colour image */
    VCA_SIZE_CROP = 2,   /* 224 x 224: attribute crops */
    VCA_SIZE_DEPTH = 3   /* 480 x 256: the raw depth image */
};

/* The control block: one static instance, owned by the library, shared with the host. The library
 * writes it, except for the fields marked "host", which the host's start-up functions fill. */
typedef struct VCA_CTRL_S {
    uint8_t algo_running;        /* 1 while the analysis task should keep looping, else 0 */
    uint8_t base_ready;          /* 1 between vca_base_init and vca_base_uninit, else 0 */
    uint8_t reserved0[2];        /* 0 */
    uint32_t frame_flag;         /* trailing word of the current frame set; with the next word it
                                    is the 64-bit frame stamp of the messages */
    uint32_t reserved1;          /* 0 */
    VCA_SIZE_S img_size[5];      /* working sizes, pixels; set by vca_data_init */
    NN_MODEL_TYPE_E real_model;  /* host: detection model for the colour image */
    NN_MODEL_TYPE_E depth_model; /* host: detection model for the depth image */
    uint32_t trk_param[2];       /* tracker settings: keep for 12 frames, report after 4 matches */
    float trk_conf_lo;           /* lowest score of a detection that is tracked, from the
                                    colour model's configuration */
    float trk_conf_hi;           /* lowest score that starts a track, from the same */
    int32_t trk_local;           /* tracker instance of the device's own tracks: 0 */
    int32_t trk_merged;          /* tracker instance of a master's merged tracks: 1 */
    VCA_IMAGE_S real_img;        /* colour image of the current frame set; host, except its
                                    frame_word, plane_addr and map_addr */
    VCA_IMAGE_S depth_img;       /* depth rendered as an image, for the depth model; as real_img */
    VCA_IMAGE_S raw_img;         /* raw depth: u16 millimetres, row-major, no padding; as real_img,
                                    width and height are the raw depth size */
    NN_MODEL_TYPE_E attr_model;  /* host: attribute classification model */
    NN_MODEL_TYPE_E staff_model; /* host: staff detection model */
} VCA_CTRL_S;

VCA_CHECK_SIZE(VCA_CTRL_S, 240);
VCA_CHECK_OFFSET(VCA_CTRL_S, base_ready, 1);
VCA_CHECK_OFFSET(VCA_CTRL_S, frame_flag, 4);
VCA_CHECK_OFFSET(VCA_CTRL_S, reserved1, 8);
VCA_CHECK_OFFSET(VCA_CTRL_S, img_size, 12);
VCA_CHECK_OFFSET(VCA_CTRL_S, real_model, 52);
VCA_CHECK_OFFSET(VCA_CTRL_S, depth_model, 56);
VCA_CHECK_OFFSET(VCA_CTRL_S, trk_param, 60);
VCA_CHECK_OFFSET(VCA_CTRL_S, trk_conf_lo, 68);
VCA_CHECK_OFFSET(VCA_CTRL_S, trk_conf_hi, 72);
VCA_CHECK_OFFSET(VCA_CTRL_S, trk_local, 76);
VCA_CHECK_OFFSET(VCA_CTRL_S, trk_merged, 80);
VCA_CHECK_OFFSET(VCA_CTRL_S, real_img, 88);
VCA_CHECK_OFFSET(VCA_CTRL_S, depth_img, 136);
VCA_CHECK_OFFSET(VCA_CTRL_S, raw_img, 184);
VCA_CHECK_OFFSET(VCA_CTRL_S, attr_model, 232);
VCA_CHECK_OFFSET(VCA_CTRL_S, staff_model, 236);

/* One mapped frame of a frame set; the host writes it. */
typedef struct AVS_IVE_FRAME_S {
    uint64_t word0;    /* passed on to the image record as frame_word, not interpreted */
    uint8_t host0[16]; /* the host's, not read */
    uint64_t vir_addr; /* virtual address of the mapped frame, 0 = not mapped */
    uint8_t host1[40]; /* the host's, not read */
    uint32_t map_size; /* bytes mapped at vir_addr */
    uint32_t vb_blk;   /* block handle, VCA_VB_NONE = none */
} AVS_IVE_FRAME_S;

#define VCA_VB_NONE 0xFFFFFFFFu

VCA_CHECK_SIZE(AVS_IVE_FRAME_S, 80);
VCA_CHECK_OFFSET(AVS_IVE_FRAME_S, vir_addr, 24);
VCA_CHECK_OFFSET(AVS_IVE_FRAME_S, map_size, 72);
VCA_CHECK_OFFSET(AVS_IVE_FRAME_S, vb_blk, 76);

/* A synchronised frame set; the host writes it. */
typedef struct AVS_IVE_ALL_S {
    AVS_IVE_FRAME_S real;  /* colour frame */
    AVS_IVE_FRAME_S depth; /* depth as an image */
    AVS_IVE_FRAME_S raw;   /* raw depth */
    uint32_t flag;         /* nonzero while the set is held; a set with 0 is never given back */
    uint32_t reserved;     /* not read */
} AVS_IVE_ALL_S;

VCA_CHECK_SIZE(AVS_IVE_ALL_S, 248);
VCA_CHECK_OFFSET(AVS_IVE_ALL_S, depth, 80);
VCA_CHECK_OFFSET(AVS_IVE_ALL_S, raw, 160);
VCA_CHECK_OFFSET(AVS_IVE_ALL_S, flag, 240);

/* Attaches the library to the host's memory, frames and inference and marks the control block
 * ready. Returns 0. */
VCA_API int vca_base_init(void);

/* Reverse of vca_base_init; waits for a running frame pass to end. Returns 0. */
VCA_API int vca_base_uninit(void);

/* Creates the algorithm mutex, the trackers and the depth state, starts the analysis task,
 * registers the message handlers and asks the host for the configuration (message 6078).
 * Returns 0. */
VCA_API int vca_algo_init(void);

/* Unregisters the handlers, stops and joins the analysis task (a pass in progress ends first) and
 * tears the trackers down. Returns 0. */
VCA_API int vca_algo_uninit(void);

/* The control block; never null, valid for the life of the process. */
VCA_API VCA_CTRL_S* vca_get_pCtrl_param(void);

/* The algorithm mutex (a TQ_MUTEX_S); never null, initialised between vca_algo_init and
 * vca_algo_uninit. A host that delivers messages while holding it never changes the configuration
 * during a frame pass. */
VCA_API void* get_vca_algo_mutex(void);

/* Duration in milliseconds of the last completed frame pass; 100 before the first one. */
VCA_API int32_t vca_get_algo_loop_tm(void);

/* Body of the analysis task; started by vca_algo_init. Returns null when algo_running is 0. */
VCA_API void* vca_algo_main_task(void* arg);

/* Sets the host's detection confidence threshold and the working sizes. Returns 0. */
VCA_API int vca_data_init(VCA_CTRL_S* ctrl);

/* Counterpart of vca_data_init; has nothing to release. Returns 0. */
VCA_API int vca_data_uninit(VCA_CTRL_S* ctrl);

/* Borrows the next frame set from the host and points the control block's images at it. Returns 0
 * with the set held, or -1 with nothing held: a set with a missing frame is given back at once. */
VCA_API int32_t vca_data_get_real_depth(VCA_CTRL_S* ctrl);

/* Gives the held frame set back; does nothing when none is held. Returns 0. */
VCA_API int32_t vca_data_put_real_depth(VCA_CTRL_S* ctrl);

/* Handler of message 6089: payload one i32, 1 switches the detection display on, any other value
 * off. */
VCA_API void vca_set_draw_exclusion_alive(int channel, void* payload);

/* Handler of message 6077: asks for the installation height, which the next frame pass answers
 * with message 6077 (one i32, millimetres). Ignored while the base stage is down. */
VCA_API void vca_install_height_request(int channel, void* payload);

VCA_EXTERN_C_END

#endif
