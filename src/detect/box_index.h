// Finds the boxes of a list that may overlap a given one without checking each of them.
#pragma once

#include <bit>
#include <cstdint>

#include "vca/detect.h"

namespace vca {

// Indices of boxes in a list.
class BoxSet {
  public:
    void add(int32_t number) { words_[number / 64] |= uint64_t{1} << (number % 64); }

    BoxSet& operator|=(const BoxSet& other) {
        for (int k = 0; k < kWords; ++k)
            words_[k] |= other.words_[k];
        return *this;
    }
    BoxSet& operator&=(const BoxSet& other) {
        for (int k = 0; k < kWords; ++k)
            words_[k] &= other.words_[k];
        return *this;
    }

    // Calls `is_found` with the indices in ascending order until it returns true; returns whether
    // it did.
    template <typename Predicate>
    bool any_of(Predicate is_found) const {
        for (int k = 0; k < kWords; ++k)
            for (uint64_t rest = words_[k]; rest != 0; rest &= rest - 1)
                if (is_found(64 * k + std::countr_zero(rest))) return true;
        return false;
    }

    // Calls it with all indices in ascending order.
    template <typename Function>
    void for_each(Function function) const {
        any_of([&](int32_t number) {
            function(number);
            return false;
        });
    }

  private:
    static constexpr int kWords = VCA_DET_MAX / 64;
    uint64_t words_[kWords] = {};
};

// Boxes by the columns and rows of cells they reach into. Boxes that overlap by at least a pixel
// share a cell; a box with coordinates beyond those of any image is in all cells.
class BoxIndex {
  public:
    // The cells a box reaches into, by number, ends included.
    struct Cells {
        int32_t left, right, top, bottom;
    };

    // An empty index with cells of a size that suits the boxes of the list.
    BoxIndex(const DET_OBJ_S* boxes, int32_t num);

    Cells cells_of(const DET_OBJ_S& box) const;

    // Adds a box under a number below VCA_DET_MAX.
    void add(const Cells& cells, int32_t number) {
        for (int32_t column = cells.left; column <= cells.right; ++column)
            columns_[column].add(number);
        for (int32_t row = cells.top; row <= cells.bottom; ++row)
            rows_[row].add(number);
    }

    // Every box added so far that overlaps a box in these cells, and possibly others.
    BoxSet near(const Cells& cells) const {
        BoxSet across = columns_[cells.left];
        for (int32_t column = cells.left + 1; column <= cells.right; ++column)
            across |= columns_[column];
        BoxSet down = rows_[cells.top];
        for (int32_t row = cells.top + 1; row <= cells.bottom; ++row)
            down |= rows_[row];
        return across &= down;
    }

  private:
    static constexpr int kCells = 32;

    int32_t cell_of(int32_t pixel) const;

    int shift_ = 0;  // a cell is 2^shift_ pixels wide and high
    BoxSet columns_[kCells];
    BoxSet rows_[kCells];
};

}  // namespace vca
