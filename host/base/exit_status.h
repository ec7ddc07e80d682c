// The program's exit statuses.
#pragma once

namespace host {

inline constexpr int kExitOk = 0;
inline constexpr int kExitFailure = 1;
inline constexpr int kExitWrongInput = 2;
inline constexpr int kExitIncomplete = 3;  // the counts are kept, but something is missing

}  // namespace host
