// From events to counts and witnesses.
#include "host/sinks/audit_sink.h"

namespace host {

void AuditSink::on_event(const Event& event) {
    for (const Story& story : book_.add(event))
        witnesses_.push_back(witness_of(story, names_));
    balance_.add(event);
    const auto* const counted = std::get_if<PersonCounted>(&event.payload);
    if (counted == nullptr) return;
    const ReportedBox& box = counted->box;
    counts_.push_back({event.time_s,
                       story_name(names_.lines, counted->line),
                       counted->direction,
                       counted->track,
                       {box.x + box.w / 2.0, box.y + box.h / 2.0}});
}

void AuditSink::end_frame(const PassReport& report) {
    balance_.end_frame(report);
    if (!report.blank) frames_.push_back({report.time_s, report.tracks});
}

void AuditSink::finish() {
    for (const Story& story : book_.rest())
        witnesses_.push_back(witness_of(story, names_));
    balance_.finish();
}

}  // namespace host
