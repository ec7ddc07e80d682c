/* Message numbers of the bus between library and host, and what travels under them.
 *
 * Every message has a fixed size and is little-endian. "In" messages are delivered to the handlers
 * that the library registers, "out" messages leave through tq_sock_send_msg on channel 1. */
#ifndef VCA_MESSAGES_H
#define VCA_MESSAGES_H

enum {
    VCA_CHANNEL = 1,
    VCA_MSG_LINE_COUNT = 6045,      /* out, 104 bytes: LINE_COUNT_MSG_S */
    VCA_MSG_TRACKS = 6069,          /* out, 27016 bytes: SHOW_MSG_S with smoothed trails */
    VCA_MSG_REGIONS = 6070,         /* out, 8672 bytes: RGN_MSG_S */
    VCA_MSG_INSTALL_HEIGHT = 6077,  /* in, no payload; out, 4 bytes: i32 millimetres */
    VCA_MSG_CONFIG = 6078,          /* in, 1916 bytes: VCA_ALGO_CFG_S; out, 8048 bytes without
                                       meaning: the library asks for its configuration */
    VCA_MSG_GROUP_COUNT = 6080,     /* out, 24 bytes: GROUP_COUNT_MSG_S */
    VCA_MSG_HEAT_MAP = 6081,        /* in, 24 bytes that are echoed; out, 259224 bytes:
                                       HEAT_MAP_MSG_S */
    VCA_MSG_HEAT_RESET = 6082,      /* in, no payload */
    VCA_MSG_FRAME_COUNT = 6083,     /* in and out, 4 bytes: i32, the master's feed frame counter */
    VCA_MSG_ASK_FRAME_COUNT = 6084, /* in, no payload */
    VCA_MSG_SLAVE_TRACKS = 6085,    /* out, 6136 bytes: SLAVE_MSG_S; in, 6144 bytes: MASTER_MSG_S */
    VCA_MSG_DETECTIONS = 6086,      /* out, 5784 bytes: DET_SHOW_MSG_S */
    VCA_MSG_TRACK_BORN = 6087,      /* out, 20 bytes: TRK_SHOW_MSG_S */
    VCA_MSG_TRACK_REMOVED = 6088,   /* out, 20 bytes: TRK_SHOW_MSG_S */
    VCA_MSG_SHOW_DETECTION = 6089,  /* in, 4 bytes: i32, 1 on, other values off */
    VCA_MSG_DETECTED_TRACKS = 6090  /* out, 27016 bytes: SHOW_MSG_S with trails of box centres */
};

#define VCA_CONFIG_REQUEST_BYTES 8048

#endif
