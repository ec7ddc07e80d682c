// The line, far outside any picture.
#include "host/engine/parked_line.h"

#include <cstdint>

namespace host {
namespace {

// As far out as coordinates go, to the right of every picture and of every site.
constexpr std::int32_t kColumn = -VCA_COORD_MIN;
constexpr std::int32_t kPiece = 100;

}  // namespace

// All of its pieces are used, because a track keeps its place for each of them. Their extension
// passes through no picture: a track on it would keep its place from before.
VCA_CFG_LINE_S parked_line() {
    VCA_CFG_LINE_S line{};
    line.LineEn = 1;
    for (std::int32_t i = 0; i < VCA_LINE_PT_NUM; ++i) {
        line.pt[i].en = 1;
        line.pt[i].x = kColumn;
        line.pt[i].y = kPiece * i;
    }
    return line;
}

bool is_parked(const VCA_CFG_LINE_S& line) {
    return line.pt[0].en != 0 && line.pt[0].x == kColumn && line.pt[1].x == kColumn;
}

}  // namespace host
