// A line that nobody can cross, for each of the library's slots that counts nobody.
//
// A track keeps by slot where it was seen last and on which side of the line it is. Where there is
// no line, that place stays the one where the track began, and a line that is put there later would
// be crossed by everybody who has walked over its place before. Over a parked line the place is
// that of the last frame.
#pragma once

#include "vca/config.h"

namespace host {

VCA_CFG_LINE_S parked_line();
bool is_parked(const VCA_CFG_LINE_S& line);

}  // namespace host
