// A story as one line of JSON.
#pragma once

#include <string>

#include "host/score/story.h"

namespace host {

std::string story_json(const Story& story, const StoryNames& names);

}  // namespace host
