// Assignment of rows to columns with the largest total value.
#pragma once

#include <vector>

namespace host {

// A sparse matrix of values: pairs that are not set cannot be assigned. The work is done per
// connected group of rows and columns, each by the Hungarian method with potentials, so a large
// scene of small groups is cheap. Memory is kept from call to call.
class Assignment {
  public:
    void reset(int rows, int cols);

    // value must be above 0; a pair is set at most once.
    void set(int row, int col, float value);

    // The column of each row, -1 for none. Valid until the next reset.
    const std::vector<int>& solve();

  private:
    struct Pair {
        int row;
        int col;
        float value;
    };

    int root(int node);
    void solve_group(const Pair* first, const Pair* last);
    void solve_matrix(int rows, int cols);

    int rows_ = 0;
    std::vector<Pair> pairs_;
    std::vector<int> parent_;  // rows, then columns
    std::vector<int> local_;   // index of a row or column within its group
    std::vector<int> col_of_row_;
    std::vector<int> group_rows_, group_cols_;
    std::vector<double> cost_;  // of the group, row by row
    std::vector<double> row_potential_, col_potential_, slack_;
    std::vector<int> row_of_col_, way_;
    std::vector<char> used_;
};

}  // namespace host
