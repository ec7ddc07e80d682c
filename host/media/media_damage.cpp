// The sentences.
#include "host/media/media_damage.h"

#include "host/base/text.h"

namespace host {
namespace {

struct Words {
    const char* one;
    const char* many;
};

Words words_of(MediaFault fault) {
    switch (fault) {
        case MediaFault::kContainer:
            return {"place cannot be read", "places cannot be read"};
        case MediaFault::kDepth:
            return {"depth picture is damaged", "depth pictures are damaged"};
        case MediaFault::kSize:
            return {"depth picture has another size than the first",
                    "depth pictures have another size than the first"};
        case MediaFault::kPixels:
            return {"depth picture is not 16-bit grey", "depth pictures are not 16-bit grey"};
        case MediaFault::kOrder:
            return {"frame is not later than the one before it",
                    "frames are not later than the one before them"};
        case MediaFault::kTime:
            return {"frame has a time that contradicts its line of text",
                    "frames have a time that contradicts their lines of text"};
        case MediaFault::kText:
            return {"line of text is damaged", "lines of text are damaged"};
        case MediaFault::kColour:
        case MediaFault::kNumber:
            break;
    }
    return {"colour picture cannot be used", "colour pictures cannot be used"};
}

}  // namespace

void MediaDamage::note(MediaFault fault, std::int64_t time_us) {
    Entry& entry = entries_[static_cast<std::size_t>(fault)];
    if (entry.count++ == 0) entry.first_us = time_us;
}

std::int64_t MediaDamage::count(MediaFault fault) const {
    return entries_[static_cast<std::size_t>(fault)].count;
}

std::vector<std::string> MediaDamage::sentences(const std::string& name) const {
    std::vector<std::string> list;
    for (std::size_t i = 0; i < entries_.size(); ++i) {
        const Entry& entry = entries_[i];
        if (entry.count == 0) continue;
        const Words words = words_of(static_cast<MediaFault>(i));
        list.push_back(name + ": " + std::to_string(entry.count) + " " +
                       (entry.count == 1 ? words.one : words.many) +
                       format_text(" and left out, the first at %.3f s",
                                   static_cast<double>(entry.first_us) / 1e6));
    }
    return list;
}

}  // namespace host
