// How well two boxes agree.
#pragma once

#include <algorithm>

namespace host {

template <typename Number>
struct BoxEdges {
    Number left{};
    Number top{};
    Number right{};
    Number bottom{};

    Number area() const { return (right - left) * (bottom - top); }
};

// Area of the intersection over the area of the union; 0 when the boxes do not meet or one is
// empty.
template <typename Number>
Number intersection_over_union(const BoxEdges<Number>& a, const BoxEdges<Number>& b) {
    const Number w = std::min(a.right, b.right) - std::max(a.left, b.left);
    const Number h = std::min(a.bottom, b.bottom) - std::max(a.top, b.top);
    if (!(w > 0) || !(h > 0)) return 0;
    const Number common = w * h;
    return common / (a.area() + b.area() - common);
}

}  // namespace host
