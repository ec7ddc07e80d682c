/* A C program knows every message: all records, with their sizes on the bus, and all named values.
 */
#include "vca/messages.h"

#define CHECK_MESSAGE(id, number, type, bytes)                \
    _Static_assert((id) == (number), "number of " #id);       \
    _Static_assert(sizeof(type) == (bytes), "bytes of " #id); \
    extern const type* message_##number

CHECK_MESSAGE(VCA_MSG_LINE_COUNT, 6045, LINE_COUNT_MSG_S, 104);
CHECK_MESSAGE(VCA_MSG_TRACKS, 6069, SHOW_MSG_S, 27016);
CHECK_MESSAGE(VCA_MSG_REGIONS, 6070, RGN_MSG_S, 8672);
CHECK_MESSAGE(VCA_MSG_INSTALL_HEIGHT, 6077, int32_t, 4);
CHECK_MESSAGE(VCA_MSG_CONFIG, 6078, VCA_ALGO_CFG_S, 1916);
CHECK_MESSAGE(VCA_MSG_GROUP_COUNT, 6080, GROUP_COUNT_MSG_S, 24);
CHECK_MESSAGE(VCA_MSG_HEAT_MAP, 6081, HEAT_MAP_MSG_S, 259224);
CHECK_MESSAGE(VCA_MSG_FRAME_COUNT, 6083, int32_t, 4);
CHECK_MESSAGE(VCA_MSG_SLAVE_TRACKS, 6085, SLAVE_MSG_S, 6136);
CHECK_MESSAGE(VCA_MSG_DETECTIONS, 6086, DET_SHOW_MSG_S, 5784);
CHECK_MESSAGE(VCA_MSG_TRACK_BORN, 6087, TRK_SHOW_MSG_S, 20);
CHECK_MESSAGE(VCA_MSG_TRACK_REMOVED, 6088, TRK_SHOW_MSG_S, 20);
CHECK_MESSAGE(VCA_MSG_SHOW_DETECTION, 6089, int32_t, 4);
CHECK_MESSAGE(VCA_MSG_DETECTED_TRACKS, 6090, SHOW_MSG_S, 27016);
_Static_assert(sizeof(MASTER_MSG_S) == 6144, "bytes that a master is given of message 6085");

/* The named values are bytes on the bus, so their numbers stay. */
_Static_assert(VCA_WORK_ALONE == 0 && VCA_WORK_MASTER == 1 && VCA_WORK_SLAVE == 2, "work modes");
_Static_assert(VCA_CLASS_PERSON == 1 && VCA_CLASS_SMALL == 2, "classes");
_Static_assert(VCA_GENDER_UNKNOWN == 0 && VCA_GENDER_MALE == 1 && VCA_GENDER_FEMALE == 2,
               "genders");
_Static_assert(VCA_DIR_NONE == 0 && VCA_DIR_1 == 1 && VCA_DIR_2 == 2, "directions");
_Static_assert(VCA_DETECT_BOTH == 0 && VCA_DETECT_COLOUR == 1 && VCA_DETECT_DEPTH == 2, "models");
_Static_assert(VCA_CFG_EXCL_DETECTIONS == 0 && VCA_CFG_EXCL_DEPTH == 1, "exclusion types");
