/* Image records that the host's image buffers, the frames and the analysis share. */
#ifndef VCA_IMAGE_H
#define VCA_IMAGE_H

#include "vca/base.h"

VCA_EXTERN_C_BEGIN

/* Pixel layouts. */
typedef enum VCA_IMAGE_TYPE_E {
    VCA_IMAGE_NONE = 0,  /* no image: the state of an all-zero record */
    VCA_IMAGE_GRAY8 = 1, /* one byte per pixel */
    VCA_IMAGE_NV12 = 2,  /* full-size Y plane, then one half-size plane of interleaved U, V */
    VCA_IMAGE_U16 = 3    /* 16-bit distances in millimetres */
} VCA_IMAGE_TYPE_E;

/* Model number in the host's inference runtime; its values are the host's own. */
typedef int32_t NN_MODEL_TYPE_E;

/* One image. The library writes only `frame_word`, `plane_addr` and `map_addr`, and only in the
 * three images of the control block; everything else belongs to the host. */
typedef struct VCA_IMAGE_S {
    int32_t type;         /* VCA_IMAGE_TYPE_E */
    uint32_t width;       /* pixels */
    uint32_t height;      /* pixels */
    uint32_t stride;      /* bytes from one row to the next; the UV plane of NV12 uses the same */
    uint64_t frame_word;  /* first word of the frame record the pixels came with; the host's */
    uint64_t plane_addr;  /* virtual address of the first plane; NV12's second plane follows it at
                             plane_addr + stride * height */
    uint64_t map_addr;    /* virtual address of the mapping that holds the pixels */
    uint64_t host_handle; /* the host's own, never read by the library */
} VCA_IMAGE_S;

VCA_CHECK_SIZE(VCA_IMAGE_S, 48);
VCA_CHECK_OFFSET(VCA_IMAGE_S, width, 4);
VCA_CHECK_OFFSET(VCA_IMAGE_S, height, 8);
VCA_CHECK_OFFSET(VCA_IMAGE_S, stride, 12);
VCA_CHECK_OFFSET(VCA_IMAGE_S, frame_word, 16);
VCA_CHECK_OFFSET(VCA_IMAGE_S, plane_addr, 24);
VCA_CHECK_OFFSET(VCA_IMAGE_S, map_addr, 32);
VCA_CHECK_OFFSET(VCA_IMAGE_S, host_handle, 40);

/* A rectangle of pixels handed to the host's crop function. */
typedef struct VCA_RGN_S {
    int32_t x;      /* left column */
    int32_t y;      /* top row */
    int32_t width;  /* pixels */
    int32_t height; /* pixels */
} VCA_RGN_S;

VCA_CHECK_SIZE(VCA_RGN_S, 16);
VCA_CHECK_OFFSET(VCA_RGN_S, x, 0);
VCA_CHECK_OFFSET(VCA_RGN_S, y, 4);
VCA_CHECK_OFFSET(VCA_RGN_S, width, 8);
VCA_CHECK_OFFSET(VCA_RGN_S, height, 12);

VCA_EXTERN_C_END

#endif
