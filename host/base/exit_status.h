// The program's exit statuses.
#pragma once

namespace host {

inline constexpr int kExitOk = 0;
inline constexpr int kExitFailure = 1;
inline constexpr int kExitWrongInput = 2;
// Of a camera's process: to be started again at once, with other settings.
inline constexpr int kExitRestart = 4;
inline constexpr int kExitIncomplete = 3;  // the counts are kept, but something is missing

}  // namespace host
