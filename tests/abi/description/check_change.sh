#!/usr/bin/env bash
# Makes one change to a copy of the interface and compares that with the description: the difference
# must be found and must name what was changed. Succeeds when it is.
#   check_change.sh <change of the headers> <types.abi> <compiler> <host's functions> <header> ...
#   check_change.sh new_function <libvca.abi> <compiler> <object of the library> ...
#   check_change.sh signature <libvca.abi> <library>
set -eu
change=$1 description=$2
shift 2
here=$(dirname "$0")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# edit <file> <sed script>: fails when that changes nothing.
edit() {
    cp "$1" "$work/before"
    sed -i "$2" "$1"
    ! cmp -s "$1" "$work/before" || {
        echo "the change '$change' no longer fits $(basename "$1")"
        exit 1
    }
}

# must_differ <description> <object> <what the difference must name>
must_differ() {
    if bash "$here/check_description.sh" "$1" "$2" >"$work/difference" 2>&1; then
        echo "the change '$change' was not found"
        exit 1
    fi
    cat "$work/difference"
    grep -qF -e "$3" "$work/difference" || {
        echo "the difference does not name $3"
        exit 1
    }
}

change_headers() {
    local compiler=$1 functions=$2 named
    shift 2
    local headers=$work/include/vca
    mkdir -p "$headers"
    cp "$@" "$headers"
    # The asserts of sizes and offsets would stop most of these changes before the description can.
    edit "$headers/base.h" 's/\(VCA_STATIC_ASSERT(cond, text)\) static_assert.*/\1 static_assert(true)/'
    case $change in
    field_type)
        edit "$headers/messages.h" '/struct LINE_COUNT_MSG_S/,/^}/s/int32_t cross;/uint32_t cross;/'
        named="int32_t cross"
        ;;
    field_order)
        edit "$headers/messages.h" \
            '/struct GROUP_COUNT_MSG_S/,/^}/{/int32_t line;/d;s/int32_t cross;/& int32_t line;/}'
        named="'int32_t line' offset changed"
        ;;
    field_name)
        edit "$headers/messages.h" '/struct SLAVE_TRACK_S/,/^}/s/foot_y;/foot_z;/'
        named="SLAVE_TRACK_S::foot_y"
        ;;
    vector_field)
        edit "$headers/track.h" \
            '/struct TRACKER_RSLT_S/,/};/s/std::vector<int32_t> moveDist;/std::vector<float> moveDist;/'
        named="moveDist"
        ;;
    array_length)
        edit "$headers/messages.h" 's/uint8_t request\[VCA_HEAT_REQUEST_BYTES\]/uint8_t request[28]/'
        named="uint8_t request[24]"
        ;;
    message_number)
        edit "$headers/messages.h" 's/VCA_MSG_GROUP_COUNT = 6080/VCA_MSG_GROUP_COUNT = 6079/'
        named="VCA_MSG_GROUP_COUNT"
        ;;
    host_signature)
        edit "$headers/platform.h" \
            's/ss_mpi_vb_release_blk(uint32_t block)/ss_mpi_vb_release_blk(int32_t block)/'
        named="ss_mpi_vb_release_blk"
        ;;
    new_record)
        edit "$headers/event.h" '/^VCA_EXTERN_C_BEGIN/i struct NEWLY_ADDED_S {\n    int32_t value;\n};'
        named="type_NEWLY_ADDED_S"
        ;;
    unreadable_record)
        edit "$headers/event.h" 's/^struct DEV_COUNTING_RSLT_S {/struct DEV_COUNTING_RSLT_S\n{/'
        if bash "$here/list_types.sh" "$work/types.cpp" "$functions" "$headers"/*.h; then
            echo "a record that cannot be read was left out"
            exit 1
        fi
        return
        ;;
    *) exit 2 ;;
    esac
    bash "$here/list_types.sh" "$work/types.cpp" "$functions" "$headers"/*.h
    "$compiler" -std=c++20 -g -fPIC -shared -Wl,-soname,libvca_types.so -I "$work/include" \
        "$work/types.cpp" -o "$work/types.so"
    must_differ "$description" "$work/types.so" "$named"
}

case $change in
new_function)
    compiler=$1
    shift
    echo 'extern "C" __attribute__((visibility("default"))) int vca_newly_added(void) { return 1; }' \
        >"$work/added.cpp"
    "$compiler" -g -fPIC -shared -Wl,-soname,libvca.so.1 "$work/added.cpp" "$@" -o "$work/libvca.so"
    must_differ "$description" "$work/libvca.so" "vca_newly_added"
    ;;
signature)
    # The library as it is, against a description in which one function takes a parameter less.
    cp "$description" "$work/libvca.abi"
    edit "$work/libvca.abi" "/<function-decl name='vca_calc_bbox_center_dis'/{n;d}"
    must_differ "$work/libvca.abi" "$1" "vca_calc_bbox_center_dis"
    ;;
*) change_headers "$@" ;;
esac
