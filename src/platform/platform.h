/* The functions a host supplies; installed as vca/platform.h.
 *
 * They stay undefined in the shared library and are resolved when the host loads it. All have C
 * linkage; an int result is 0 for success, and the library ignores it unless stated
 * otherwise. */
#ifndef VCA_PLATFORM_H
#define VCA_PLATFORM_H

#include "vca/frame.h"
#include "vca/image.h"

VCA_EXTERN_C_BEGIN

/* ---- Tasks and mutexes: opaque records of 64 bytes that the host constructs in place ---- */

typedef struct TQ_MUTEX_S {
    VCA_ALIGNED(16) uint8_t opaque[64]; /* the host's, never read by the library */
} TQ_MUTEX_S;

typedef struct TQ_TASK_S {
    VCA_ALIGNED(16) uint8_t opaque[64]; /* the host's, never read by the library */
} TQ_TASK_S;

VCA_CHECK_SIZE(TQ_MUTEX_S, 64);
VCA_CHECK_SIZE(TQ_TASK_S, 64);
VCA_STATIC_ASSERT(VCA_ALIGNOF(TQ_MUTEX_S) == 16, "TQ_MUTEX_S alignment");
VCA_STATIC_ASSERT(VCA_ALIGNOF(TQ_TASK_S) == 16, "TQ_TASK_S alignment");

/* A plain, non-recursive mutex. */
int tq_mutex_init(TQ_MUTEX_S* mutex);
int tq_mutex_lock(TQ_MUTEX_S* mutex);
int tq_mutex_unlock(TQ_MUTEX_S* mutex);
int tq_mutex_uninit(TQ_MUTEX_S* mutex);

/* Starts a joinable thread that runs entry(arg), and waits for it to end. */
int tq_task_create_join(TQ_TASK_S* task, void* (*entry)(void*), void* arg);
int tq_task_join(TQ_TASK_S* task);

/* Names the calling thread. */
int tq_task_set_name(const char* name);

/* Runs a shell command. */
int tq_system(const char* command);

/* ---- Message bus ---- */

/* One row of the handler table; the library writes it. */
typedef struct SOCK_REQUEST_S {
    int32_t id;                                  /* message number */
    uint32_t zero0;                              /* 0 */
    void (*handler)(int channel, void* payload); /* payload is the host's, read during the call */
    uint64_t zero1;                              /* 0 */
} SOCK_REQUEST_S;

VCA_CHECK_SIZE(SOCK_REQUEST_S, 24);
VCA_CHECK_OFFSET(SOCK_REQUEST_S, handler, 8);

/* Installs and removes the library's handlers; the table is the library's and stays valid. Once the
 * second call has returned, no handler runs. */
int sock_request_register(const SOCK_REQUEST_S* table, int count);
int sock_request_unregister(const SOCK_REQUEST_S* table, int count);

/* Queues a message to the host; the payload is copied before the call returns. It is called inside
 * frame passes and handlers and must neither block nor call back into the library. */
int tq_sock_send_msg(int channel, int id, void* payload, int length);

/* ---- Memory, models, inference ---- */

/* Set up and tear down the memory of the three images of the control block and fill their type,
 * sizes and strides. */
int vca_mem_init(VCA_CTRL_S* ctrl);
int vca_mem_uninit(VCA_CTRL_S* ctrl);

/* Load and unload the models and set the model numbers of the control block. */
int vca_cvai_init(VCA_CTRL_S* ctrl);
int vca_cvai_uninit(VCA_CTRL_S* ctrl);

/* Sets the host's detection confidence threshold in percent; called with 13. */
int avs_set_conf_thr(int percent);

/* Configuration of a model; the host writes it and may append fields of its own. */
typedef struct NN_MODEL_CFG_S {
    uint8_t host[140];     /* the host's, never read by the library */
    float trk_conf_lo;     /* score 0..1; detections below it are not tracked */
    float det_show_thresh; /* score 0..1; detections above it start tracks and are shown */
} NN_MODEL_CFG_S;

VCA_CHECK_SIZE(NN_MODEL_CFG_S, 148);
VCA_CHECK_OFFSET(NN_MODEL_CFG_S, trk_conf_lo, 140);
VCA_CHECK_OFFSET(NN_MODEL_CFG_S, det_show_thresh, 144);

/* Configuration of a model, owned by the host and valid while the models are loaded; null means
 * thresholds of 0. */
const NN_MODEL_CFG_S* vca_nn_get_pModel_cfg(NN_MODEL_TYPE_E model);

/* Runs a detection model on an image. For the colour and depth models `result` is a
 * VCA_NN_RESULT_S with at most 128 boxes in colour-image pixels; for the staff model 8 bytes
 * {i32 staff; f32 score}. */
int vca_nn_detection(NN_MODEL_TYPE_E model, const VCA_IMAGE_S* image, void* result);

/* Runs a classification model; writes 16 bytes {i32 best class; f32 probability of class 1; f32 of
 * class 2; 4 bytes}. */
int vca_nn_classification(NN_MODEL_TYPE_E model, const VCA_IMAGE_S* image, void* result);

/* ---- Images ---- */

/* Creates an image's memory and fills the record; on failure the record is all zero. */
int vca_create_image(VCA_IMAGE_S* img, int type, int width, int height);

/* Releases an image's memory; accepts an all-zero record. */
int vca_destroy_image(VCA_IMAGE_S* img);

/* Crops a rectangle of src and scales it into dst without changing its proportions, filling the
 * rest of dst. */
int vca_image_crop_letter(const VCA_IMAGE_S* src, const VCA_RGN_S* rgn, VCA_IMAGE_S* dst);

/* Writes an image's planes to a file without row padding. */
int vca_save_yuv_image(const VCA_IMAGE_S* img, const char* path);

/* ---- Frames ---- */

/* The next synchronised frame set, already mapped; a frame that is not available has vb_blk
 * VCA_VB_NONE. Must not block for long: it is called with the algorithm mutex held. */
AVS_IVE_ALL_S avs_read_all_ive(void);

/* Gives a block back to the pool. */
int ss_mpi_vb_release_blk(uint32_t block);

/* Unmaps a frame. */
int ss_mpi_sys_munmap(void* addr, uint32_t size);

/* ---- IoU tracker ---- */

/* One detection passed to the tracker, or one target reported by it; of a target only id and
 * det_idx are read. */
typedef struct IOU_TRK_OBJ_S {
    int32_t id;       /* in: 0; out: id of the target */
    int32_t det_idx;  /* index of the detection, 0..127 */
    int32_t x;        /* left column of the enlarged box, pixels */
    int32_t y;        /* top row of the enlarged box, pixels */
    int32_t w;        /* width of the enlarged box, pixels */
    int32_t h;        /* height of the enlarged box, pixels */
    int32_t class_id; /* VCA_CLASS_E, or another value defined by the detector */
    float score;      /* confidence of the detection, 0..1 */
} IOU_TRK_OBJ_S;

VCA_CHECK_SIZE(IOU_TRK_OBJ_S, 32);
VCA_CHECK_OFFSET(IOU_TRK_OBJ_S, id, 0);
VCA_CHECK_OFFSET(IOU_TRK_OBJ_S, det_idx, 4);
VCA_CHECK_OFFSET(IOU_TRK_OBJ_S, x, 8);
VCA_CHECK_OFFSET(IOU_TRK_OBJ_S, y, 12);
VCA_CHECK_OFFSET(IOU_TRK_OBJ_S, w, 16);
VCA_CHECK_OFFSET(IOU_TRK_OBJ_S, h, 20);
VCA_CHECK_OFFSET(IOU_TRK_OBJ_S, class_id, 24);
VCA_CHECK_OFFSET(IOU_TRK_OBJ_S, score, 28);

#define VCA_TRK_MAX 100

/* The targets of a frame; the host writes it. */
typedef struct IOU_TRK_RSLT_S {
    int32_t num;                     /* entries of objs, 0..100; clamped before use */
    IOU_TRK_OBJ_S objs[VCA_TRK_MAX]; /* the targets that were matched in this frame */
} IOU_TRK_RSLT_S;

VCA_CHECK_SIZE(IOU_TRK_RSLT_S, 3204);
VCA_CHECK_OFFSET(IOU_TRK_RSLT_S, num, 0);
VCA_CHECK_OFFSET(IOU_TRK_RSLT_S, objs, 4);

/* Prepares instance `inst` (0 or 1) with two tuning values: the number of frames a lost target is
 * kept, and the number of matches a new target needs before it is reported. */
int ioutracker_init(int inst, int max_lost, int min_hits);

/* Detections at or above `hi` are matched first, those from `lo` to `hi` second. */
int ioutracker_set_conf_thresh(int inst, float lo, float hi);

/* Empties the input list of this frame. */
int ioutracker_objects_reset(int inst);

/* Adds one detection; the record is copied. */
int ioutracker_add_object(int inst, const IOU_TRK_OBJ_S* obj);

/* Matches the added detections to the targets and returns the targets matched in this frame, at
 * most 100, each with a stable id and the index of its detection. */
IOU_TRK_RSLT_S ioutracker_update(int inst);

/* Releases the instance. */
int ioutracker_uninit(int inst);

VCA_EXTERN_C_END

#endif
