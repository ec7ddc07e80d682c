// Hungarian method with potentials, O(rows^2 cols) per connected group.
#include "host/tracker/assignment.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <numeric>
#include <tuple>

namespace host {

namespace {

std::size_t at(int index) {
    return static_cast<std::size_t>(index);
}

}  // namespace

void Assignment::reset(int rows, int cols) {
    rows_ = rows;
    pairs_.clear();
    parent_.resize(at(rows + cols));
    std::iota(parent_.begin(), parent_.end(), 0);
    local_.assign(at(rows + cols), -1);
    col_of_row_.assign(at(rows), -1);
}

int Assignment::root(int node) {
    while (parent_[at(node)] != node) {
        parent_[at(node)] = parent_[at(parent_[at(node)])];
        node = parent_[at(node)];
    }
    return node;
}

void Assignment::set(int row, int col, float value) {
    pairs_.push_back({row, col, value});
    const int a = root(row);
    const int b = root(rows_ + col);
    parent_[at(std::max(a, b))] = std::min(a, b);
}

const std::vector<int>& Assignment::solve() {
    std::sort(pairs_.begin(), pairs_.end(), [this](const Pair& a, const Pair& b) {
        return std::tuple(root(a.row), a.row, a.col) < std::tuple(root(b.row), b.row, b.col);
    });
    const Pair* const end = pairs_.data() + pairs_.size();
    for (const Pair* first = pairs_.data(); first != end;) {
        const int group = root(first->row);
        const Pair* const last =
            std::find_if(first, end, [&](const Pair& p) { return root(p.row) != group; });
        solve_group(first, last);
        first = last;
    }
    return col_of_row_;
}

void Assignment::solve_group(const Pair* first, const Pair* last) {
    if (last - first == 1) {
        col_of_row_[at(first->row)] = first->col;
        return;
    }
    group_rows_.clear();
    group_cols_.clear();
    for (const Pair* p = first; p != last; ++p) {
        int& row = local_[at(p->row)];
        int& col = local_[at(rows_ + p->col)];
        if (row < 0) {
            row = static_cast<int>(group_rows_.size());
            group_rows_.push_back(p->row);
        }
        if (col < 0) {
            col = static_cast<int>(group_cols_.size());
            group_cols_.push_back(p->col);
        }
    }
    // The method needs no more rows than columns; an unset pair costs as much as staying alone.
    const bool flip = group_rows_.size() > group_cols_.size();
    const auto& lines = flip ? group_cols_ : group_rows_;
    const auto& columns = flip ? group_rows_ : group_cols_;
    cost_.assign(lines.size() * columns.size(), 0.0);
    for (const Pair* p = first; p != last; ++p) {
        const std::size_t row = at(local_[at(p->row)]);
        const std::size_t col = at(local_[at(rows_ + p->col)]);
        cost_[flip ? col * columns.size() + row : row * columns.size() + col] =
            -static_cast<double>(p->value);
    }
    solve_matrix(static_cast<int>(lines.size()), static_cast<int>(columns.size()));
    for (std::size_t col = 0; col < columns.size(); ++col) {
        const int line = row_of_col_[col + 1] - 1;
        if (line < 0 || cost_[at(line) * columns.size() + col] >= 0.0) continue;
        const int row = flip ? group_rows_[col] : group_rows_[at(line)];
        col_of_row_[at(row)] = flip ? group_cols_[at(line)] : group_cols_[col];
    }
}

// Shortest augmenting paths, one row after the other. Rows and columns count from 1; column 0 is
// where each search starts. The result is row_of_col_, 0 for a free column.
void Assignment::solve_matrix(int rows, int cols) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    row_potential_.assign(at(rows + 1), 0.0);
    col_potential_.assign(at(cols + 1), 0.0);
    row_of_col_.assign(at(cols + 1), 0);
    way_.assign(at(cols + 1), 0);
    for (int row = 1; row <= rows; ++row) {
        slack_.assign(at(cols + 1), kInfinity);
        used_.assign(at(cols + 1), 0);
        row_of_col_[0] = row;
        int col = 0;
        do {
            used_[at(col)] = 1;
            const int via = row_of_col_[at(col)];
            const double* const line = cost_.data() + at(via - 1) * at(cols) - 1;
            double delta = kInfinity;
            int next = 0;
            for (int c = 1; c <= cols; ++c) {
                if (used_[at(c)] != 0) continue;
                const double reduced = line[c] - row_potential_[at(via)] - col_potential_[at(c)];
                if (reduced < slack_[at(c)]) {
                    slack_[at(c)] = reduced;
                    way_[at(c)] = col;
                }
                if (slack_[at(c)] < delta) {
                    delta = slack_[at(c)];
                    next = c;
                }
            }
            for (int c = 0; c <= cols; ++c) {
                if (used_[at(c)] != 0) {
                    row_potential_[at(row_of_col_[at(c)])] += delta;
                    col_potential_[at(c)] -= delta;
                } else {
                    slack_[at(c)] -= delta;
                }
            }
            col = next;
        } while (row_of_col_[at(col)] != 0);
        while (col != 0) {
            row_of_col_[at(col)] = row_of_col_[at(way_[at(col)])];
            col = way_[at(col)];
        }
    }
}

}  // namespace host
