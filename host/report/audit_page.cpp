// The page section by section, in the order of a plan for a benchmark.
#include "host/report/audit_page.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <set>
#include <stdexcept>

#include "host/base/text.h"
#include "host/base/utc.h"

namespace host {
namespace {

constexpr const char* kStyle = R"(
:root{--ink:#1d2329;--soft:#5b6672;--rule:#d5dbe1;--paper:#fff;--wash:#f4f6f8;--bad:#b3261e;--good:#1b6e3c;--open:#8a5a00}
*{box-sizing:border-box}
body{margin:0 auto;padding:24px 20px 48px;max-width:1040px;background:var(--paper);color:var(--ink);
font:15px/1.5 system-ui,"Segoe UI","DejaVu Sans",Arial,sans-serif}
h1{font-size:1.7em;line-height:1.2;margin:0 0 4px}h2{font-size:1.2em;margin:32px 0 8px;padding-top:12px;border-top:1px solid var(--rule)}
h3{font-size:1em;margin:0 0 4px}p{margin:6px 0}.soft{color:var(--soft)}
.verdict{margin:16px 0;padding:12px 16px;border-left:6px solid var(--open);background:var(--wash)}
.verdict.shown{border-color:var(--good)}.verdict.refuted{border-color:var(--bad)}
.verdict b{font-size:1.15em}
dl{display:grid;grid-template-columns:minmax(8em,max-content) 1fr;gap:4px 20px;margin:8px 0}dt{color:var(--soft)}dd{margin:0;min-width:0;overflow-wrap:anywhere}
code{font:12.5px/1.5 ui-monospace,"DejaVu Sans Mono",monospace}
.wide{overflow-x:auto;margin-bottom:18px}table{border-collapse:collapse;width:100%;font-variant-numeric:tabular-nums}
th,td{padding:5px 8px;text-align:right;border-bottom:1px solid var(--rule);white-space:nowrap}th{font-weight:600;color:var(--soft);vertical-align:bottom}
td:first-child,th:first-child{text-align:left;white-space:normal}tr.all td{font-weight:600;border-top:2px solid var(--ink)}
svg{display:block;width:100%;height:auto;margin:4px 0 10px}
.case{margin:18px 0;break-inside:avoid;page-break-inside:avoid}.case .kind{color:var(--bad)}
.strip{display:grid;grid-template-columns:repeat(5,1fr);gap:4px;margin:6px 0 0}
figure{margin:0}figure img{display:block;width:100%;height:auto}figcaption{font-size:12px;color:var(--soft);text-align:center}
figure.now img{outline:3px solid var(--bad);outline-offset:-3px}
pre{white-space:pre-wrap;overflow-wrap:anywhere;background:var(--wash);padding:10px 12px;font:12px/1.45 ui-monospace,"DejaVu Sans Mono",monospace}
@media(max-width:620px){body{padding:16px 12px 32px}dl{grid-template-columns:1fr;gap:0}dd{margin-bottom:8px}.strip{grid-template-columns:repeat(3,1fr)}}
@media print{@page{size:A4;margin:14mm}body{max-width:none;padding:0;font-size:10.5pt}th,td{padding:3px 5px;font-size:9pt}
.wide{overflow:visible}h2,h3{break-after:avoid}tr,li,svg,.verdict{break-inside:avoid}*{-webkit-print-color-adjust:exact;print-color-adjust:exact}}
)";

// Also what a name in a recording may hold.
std::string safe(const std::string& text) {
    std::string out;
    for (const char c : visible(text)) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '"':
                out += "&quot;";
                break;
            default:
                out += c;
        }
    }
    return out;
}

// With a true minus sign; nothing has no sign.
std::string with_sign(double value, int digits) {
    std::string size = format_text("%.*f", digits, std::abs(value));
    if (size.find_first_not_of("0.") == std::string::npos) return size;
    return (value < 0.0 ? "\u2212" : "+") + size;
}

std::string percent(const std::optional<double>& share) {
    return share ? with_sign(100.0 * *share, 2) + " %" : kNothing;
}

std::string part(std::int64_t count, std::int64_t of) {
    if (of == 0) return kNothing;
    return format_text("%.0f %%", 100.0 * static_cast<double>(count) / static_cast<double>(of));
}

// "2026-01-31 08:05:00 UTC"
std::string utc_text(std::int64_t us) {
    std::string text = utc_name(us).substr(0, 19);
    text[10] = ' ';
    text[13] = text[16] = ':';
    return text + " UTC";
}

std::string clock(double time_s) {
    const auto tenths = static_cast<long long>(std::floor(std::max(time_s, 0.0) * 10.0 + 0.5));
    return format_text("%lld:%02lld.%lld", tenths / 600, tenths / 10 % 60, tenths % 10);
}

std::string of_many(std::int64_t count, const std::string& one) {
    return std::to_string(count) + " " + one + (count == 1 ? "" : "s");
}

std::string place_text(const std::string& line, int direction) {
    return "line " + safe(line) + ", direction " + std::to_string(direction);
}

std::string joined(const std::vector<std::string>& texts) {
    std::string all;
    for (const std::string& text : texts)
        all += (all.empty() ? "" : ", ") + safe(text);
    return all;
}

std::string verdict_sentence(const BiasTest& test) {
    if (!test.bias) return "No crossing was seen, so nothing can be said about the counts.";
    const std::string sample = "The counts differ from what was seen by " + percent(test.bias) +
                               " over " + of_many(test.crossings, "crossing") + " in " +
                               of_many(test.intervals, "interval") + ". ";
    const std::string range = test.margin_975
                                  ? "With 97.5 % confidence on either side the bias lies between " +
                                        percent(*test.bias - *test.margin_975) + " and " +
                                        percent(*test.bias + *test.margin_975) +
                                        " (with 95 %: " + percent(*test.bias - *test.margin_95) +
                                        " to " + percent(*test.bias + *test.margin_95) + "). "
                                  : "One interval does not show how counts vary. ";
    switch (test.verdict) {
        case BiasVerdict::kShown:
            return sample + range + "That is within ±1 %.";
        case BiasVerdict::kRefuted:
            return sample + range + "That is outside ±1 %.";
        case BiasVerdict::kNotShown:
            break;
    }
    if (test.crossings_still_needed == 0)
        return sample + range +
               "That reaches beyond ±1 % although the sample is large enough to "
               "show the absence of a bias in 9 of 10 audits.";
    return sample + range + "This sample is too small to tell: about " +
           std::to_string(test.crossings_still_needed) +
           " more crossings of this kind are needed, " + std::to_string(test.crossings_for_power) +
           " in all.";
}

std::string title_of(const std::vector<AuditedFile>& recordings) {
    const std::string title = "Audit of " + safe(recordings.front().name);
    const auto more = std::ssize(recordings) - 1;
    return more == 0 ? title : title + " and " + of_many(more, "more recording");
}

// As minutes, or as seconds when there are less than 60.
std::string length_text(double length_s) {
    return length_s < 60.0 ? format_text("%.1f s", length_s) : clock(length_s) + " min";
}

class Page {
  public:
    Page(const AuditFacts& facts, const AuditInput& input, const Audit& audit)
        : facts_(facts), input_(input), audit_(audit) {}

    std::string text() {
        const std::string title = title_of(facts_.recordings);
        out_ =
            "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">"
            "<meta name=\"viewport\" content=\"width=device-width,initial-scale=1\">"
            "<title>" +
            title + "</title><style>" + kStyle + "</style></head><body>\n";
        out_ += "<h1>" + title +
                "</h1>\n<p class=\"soft\">People counted by a camera against "
                "people seen by a person in its recording</p>\n";
        add_verdict();
        add_subject();
        add_sample();
        add_labellers();
        add_rules();
        add_dates();
        add_result();
        add_balances();
        if (!facts_.by_interval) {
            add_timeline();
            add_cases();
        }
        heading("Settings");
        out_ += "<pre>" + safe_lines(facts_.settings) + "</pre>\n</body></html>\n";
        return std::move(out_);
    }

  private:
    void heading(const std::string& text) { out_ += "<h2>" + text + "</h2>\n"; }

    void terms(const std::vector<std::pair<std::string, std::string>>& list) {
        out_ += "<dl>";
        for (const auto& [term, text] : list)
            out_ += "<dt>" + term + "</dt><dd>" + text + "</dd>";
        out_ += "</dl>\n";
    }

    static std::string safe_lines(const std::string& text) {
        std::string all;
        for (std::size_t at = 0; at < text.size();) {
            const std::size_t end = std::min(text.find('\n', at), text.size());
            all += safe(text.substr(at, end - at)) + "\n";
            at = end + 1;
        }
        return all;
    }

    void add_verdict() {
        const BiasTest& test = audit_.total.bias;
        std::string kind = bias_verdict_name(test.verdict);
        const std::string name = kind;
        std::replace(kind.begin(), kind.end(), ' ', '-');
        out_ += "<div class=\"verdict " + kind + "\"><p><b>A bias within ±1 % is " + name +
                ".</b></p><p>" + verdict_sentence(test) + "</p></div>\n";
    }

    void add_subject() {
        heading("What is compared");
        std::vector<std::pair<std::string, std::string>> list;
        for (const AuditedFile& file : facts_.recordings)
            list.emplace_back("recording",
                              safe(file.name) + "<br><code>SHA-256 " + file.sha256 + "</code>");
        list.emplace_back("camera",
                          safe(facts_.camera) + format_text(", %.2f m above the floor",
                                                            facts_.install_height_mm / 1000.0));
        list.emplace_back("lines", joined(input_.lines));
        list.emplace_back("program", safe(facts_.program));
        list.emplace_back("settings",
                          "as recorded, <code>" + facts_.settings_sha256.substr(0, 12) + "</code>");
        list.emplace_back("labels", safe(facts_.labels.name) + "<br><code>SHA-256 " +
                                        facts_.labels.sha256 + "</code>");
        for (const std::string& warning : facts_.warnings)
            list.emplace_back("warning", safe(warning));
        terms(list);
    }

    void add_sample() {
        heading("Sample");
        terms({{"length",
                length_text(facts_.end_s - facts_.from_s) + ", " + of_many(facts_.frames, "frame")},
               {"crossings seen", std::to_string(audit_.total.errors.manual)},
               {"crossings counted", std::to_string(audit_.total.errors.counted)},
               {"intervals", facts_.by_interval
                                 ? std::to_string(audit_.total.errors.intervals) + ", as labelled"
                                 : std::to_string(audit_.total.errors.intervals) + " of " +
                                       plain_number(facts_.interval_s) +
                                       " s, those without anybody included"}});
    }

    void add_labellers() {
        heading("Who counted");
        terms({{"by hand",
                facts_.labellers.empty() ? "the labels do not say" : joined(facts_.labellers)},
               {"automatically", safe(facts_.program) + ", from the recorded depth"}});
    }

    void add_rules() {
        heading("Rules fixed beforehand");
        std::string rules = "<ul>";
        const auto add = [&rules](const std::string& rule) { rules += "<li>" + rule + "</li>"; };
        if (!facts_.by_interval) {
            add("A label and a count are the same crossing when they are of the same line and "
                "direction and at most 1 s apart: one to one, as many as possible, then the "
                "nearest in time. Such a count belongs to the interval of its label.");
            add("Of the rest: <i>wrong direction</i>, counted at the same line the other way "
                "within "
                "1 s; <i>wrong line</i>, counted at another line within 1 s; <i>double</i>, "
                "counted "
                "within 1 s of a label that has its count already; <i>extra</i>, counted and not "
                "seen; <i>missed</i>, seen and not counted.");
        }
        add("Balanced error: (ΣK − ΣM) / ΣM with the automatic counts K and the manual ones M. "
            "Unbalanced error: Σ|K − M| / ΣM over the intervals.");
        add("Bias: D<sub>i</sub> = (K<sub>i</sub> − M<sub>i</sub>) / mean M in each interval. Its "
            "mean ± t(n − 1; 0.975) · s / √n has to lie within ±1 %, and the sample has to be so "
            "large that a bias of 1 % would leave as few errors in at most 2.5 % of all samples: "
            "368 crossings without an error, 555 with one, 720 with two.");
        out_ += rules + "</ul>\n";
    }

    void add_dates() {
        heading("Dates");
        terms(
            {{"recorded", utc_text(facts_.recorded_us)}, {"audited", utc_text(facts_.audited_us)}});
    }

    void add_row(const std::string& name, const AuditRow& row) {
        const CountErrors& e = row.errors;
        const auto cell = [this](const std::string& text) { out_ += "<td>" + text + "</td>"; };
        out_ += row.line.empty() ? "<tr class=\"all\">" : "<tr>";
        cell(name);
        cell(std::to_string(e.manual));
        cell(std::to_string(e.counted));
        cell(percent(e.balanced));
        cell(percent_text(e.unbalanced.value_or(NAN), 2));
        cell(part(e.exact, e.intervals));
        cell(part(e.within_one, e.intervals));
        cell(part(e.within_two, e.intervals));
        cell(row.bias.margin_975 ? percent(*row.bias.bias - *row.bias.margin_975) + " … " +
                                       percent(*row.bias.bias + *row.bias.margin_975)
                                 : kNothing);
        cell(bias_verdict_name(row.bias.verdict));
        out_ += "</tr>\n";
    }

    void add_result() {
        heading("Result");
        out_ +=
            "<div class=\"wide\"><table><thead><tr><th>line, direction</th><th>seen</th>"
            "<th>counted</th><th>balanced<br>error</th><th>unbalanced<br>error</th>"
            "<th>intervals<br>exact</th><th>within<br>±1</th><th>within<br>±2</th>"
            "<th>bias, 97.5 %<br>either side</th><th>within<br>±1 %</th></tr></thead><tbody>\n";
        for (const AuditRow& row : audit_.rows)
            add_row(safe(row.line) + ", " + std::to_string(row.direction), row);
        add_row("all", audit_.total);
        out_ += "</tbody></table></div>\n";
        if (facts_.by_interval) {
            out_ +=
                "<p class=\"soft\">The labels are counts per interval, so single crossings "
                "cannot be compared.</p>\n";
            return;
        }
        out_ += "<div class=\"wide\"><table><thead><tr><th>line, direction</th>";
        for (std::size_t i = 0; i < kAuditErrors; ++i)
            out_ += std::string("<th>") + audit_error_name(static_cast<AuditError>(i)) + "</th>";
        out_ += "</tr></thead><tbody>\n";
        const auto add = [this](const std::string& name, const AuditRow& row) {
            out_ += (row.line.empty() ? "<tr class=\"all\"><td>" : "<tr><td>") + name + "</td>";
            for (const int count : row.kinds)
                out_ += "<td>" + std::to_string(count) + "</td>";
            out_ += "</tr>\n";
        };
        for (const AuditRow& row : audit_.rows)
            add(safe(row.line) + ", " + std::to_string(row.direction), row);
        add("all", audit_.total);
        out_ += "</tbody></table></div>\n";
    }

    void add_balances() {
        if (facts_.balances.empty()) return;
        heading("Balance of closed lines");
        out_ +=
            "<p class=\"soft\">Who came in less who went out, with those who appeared and vanished "
            "inside, has to be who stands inside: at the end, and in each frame in which nobody "
            "stands on the line.</p>\n"
            "<div class=\"wide\"><table><thead><tr><th>line</th><th>came in</th><th>went out</th>"
            "<th>appeared<br>inside</th><th>vanished<br>inside</th><th>inside at the<br>end, by "
            "counts</th><th>by feet</th><th>frames<br>checked</th><th>of these<br>off</th></tr>"
            "</thead><tbody>\n";
        for (const Balance& b : facts_.balances) {
            out_ += "<tr><td>" + safe(b.line) + "</td>";
            for (const std::int64_t number :
                 {b.entries, b.exits, b.appeared, b.vanished, b.inside + b.difference(), b.inside,
                  b.checks, b.checks_off})
                out_ += "<td>" + std::to_string(number) + "</td>";
            out_ += "</tr>\n";
        }
        out_ += "</tbody></table></div>\n";
        for (const Balance& b : facts_.balances) {
            if (b.is_exact()) {
                out_ += "<p>Line " + safe(b.line) + ": exact.</p>\n";
                continue;
            }
            out_ += "<p>Line " + safe(b.line) + ": " + of_many(b.fault_count, "violation") +
                    ".</p><ul>";
            for (const BalanceFault& fault : b.faults)
                out_ += "<li>" + safe(fault_text(fault)) + ".</li>";
            out_ += "</ul>\n";
        }
    }

    // One row of the timeline: labels above a rule, counts below.
    using Place = std::pair<std::string, int>;

    void add_lane(std::string& svg, double from_s, double length_s, double y, const Place& place) {
        const auto x = [&](double time_s) { return 130.0 + 860.0 * (time_s - from_s) / length_s; };
        const auto tick = [&](double at_s, bool above, bool bad) {
            // People who were still there at the end are settled just after it.
            const double time_s = std::min(at_s, facts_.end_s - 1e-6);
            if (time_s < from_s || time_s >= from_s + length_s) return;
            svg +=
                format_text("<rect x=\"%.1f\" y=\"%.1f\" width=\"%d\" height=\"9\" fill=\"%s\"/>",
                            x(time_s) - 1.0, above ? y - 10.0 : y + 1.0, bad ? 3 : 2,
                            bad ? "#b3261e" : "#1d2329");
        };
        svg += format_text(
            "<line x1=\"130\" x2=\"990\" y1=\"%.1f\" y2=\"%.1f\" "
            "stroke=\"#d5dbe1\"/>",
            y, y);
        svg += format_text("<text x=\"0\" y=\"%.1f\">", y + 4.0) + safe(cut_to(place.first, 14)) +
               ", " + std::to_string(place.second) + "</text>";
        const auto& labels = input_.labels->crossings;
        for (std::size_t i = 0; i < labels.size(); ++i)
            if (Place{labels[i].line, labels[i].direction} == place)
                tick(labels[i].time_s, true, bad_labels_.count(i) > 0);
        for (std::size_t i = 0; i < input_.counts.size(); ++i)
            if (Place{input_.counts[i].line, input_.counts[i].direction} == place)
                tick(input_.counts[i].time_s, false, bad_counts_.count(i) > 0);
    }

    void add_timeline() {
        heading("Timeline");
        out_ +=
            "<p class=\"soft\">Above each rule what was seen, below it what was counted; red "
            "where they differ.</p>\n";
        for (const Mismatch& mismatch : audit_.mismatches) {
            if (mismatch.label) bad_labels_.insert(*mismatch.label);
            if (mismatch.count) bad_counts_.insert(*mismatch.count);
        }
        constexpr double kMostRows = 12.0;
        constexpr double kShortest_s = 60.0;
        const double all_s = std::max(facts_.end_s - facts_.from_s, 1.0);
        const double length_s =
            all_s <= kShortest_s ? all_s : std::max(kShortest_s, std::ceil(all_s / kMostRows));
        for (double from_s = facts_.from_s; from_s < facts_.end_s - 1e-6; from_s += length_s)
            add_stretch(from_s, length_s);
    }

    void add_stretch(double from_s, double length_s) {
        std::string svg;
        double y = 34.0;
        for (const AuditRow& row : audit_.rows) {
            add_lane(svg, from_s, length_s, y, {row.line, row.direction});
            y += 26.0;
        }
        for (int i = 0; i <= 6; ++i) {
            const double share = i / 6.0;
            svg += format_text("<text x=\"%.1f\" y=\"12\" text-anchor=\"%s\" fill=\"#5b6672\">",
                               130.0 + 860.0 * share,
                               i == 6   ? "end"
                               : i == 0 ? "start"
                                        : "middle") +
                   clock(from_s + share * length_s) + "</text>";
        }
        out_ += format_text(
                    "<svg viewBox=\"0 0 1000 %.0f\" font-size=\"13\" font-family=\"system-ui,"
                    "'DejaVu Sans',Arial,sans-serif\" role=\"img\" "
                    "aria-label=\"Timeline from %s\">",
                    y - 8.0, clock(from_s).c_str()) +
                svg + "</svg>\n";
    }

    void add_cases() {
        heading("Where they differ");
        if (audit_.mismatches.empty()) {
            out_ +=
                "<p>Nowhere: each crossing that was seen was counted once, and nothing else "
                "was.</p>\n";
            return;
        }
        out_ +=
            "<p class=\"soft\">Depth as the camera measured it: bright is near, nobody can be "
            "recognised. White: the person in question with the path of the last 3 s; grey: "
            "others who were followed. Lines bear their names. Below each picture stand the "
            "seconds before or after the moment itself, which is framed in red.</p>\n";
        for (std::size_t i = 0; i < audit_.mismatches.size(); ++i)
            add_case(i);
    }

    void add_case(std::size_t i) {
        const Mismatch& mismatch = audit_.mismatches[i];
        out_ += "<section class=\"case\"><h3>" + std::to_string(i + 1) + ". <span class=\"kind\">" +
                audit_error_name(mismatch.kind) + "</span> at " + clock(mismatch.time_s) + "</h3>";
        std::string text;
        if (mismatch.label) {
            const Label& label = input_.labels->crossings[*mismatch.label];
            text +=
                "Seen at " + clock(label.time_s) + " on " + place_text(label.line, label.direction);
            if (!label.note.empty()) text += " (" + safe(label.note) + ")";
            text += ". ";
        }
        if (mismatch.count) {
            const CountedCrossing& count = input_.counts[*mismatch.count];
            text += "Counted at " + clock(count.time_s) + " on " +
                    place_text(count.line, count.direction) + ". ";
        }
        out_ += "<p>" + text + "<br>Why: " + safe(mismatch.why) + ".</p>";
        add_strip(i);
        out_ += "</section>\n";
    }

    void add_strip(std::size_t i) {
        const auto strip = facts_.strips.find(i);
        if (strip == facts_.strips.end()) {
            out_ += "<p class=\"soft\">Without pictures, which only the first ones have.</p>";
            return;
        }
        out_ += "<div class=\"strip\">";
        for (const auto& [after_s, picture] : strip->second) {
            out_ += after_s == 0.0 ? "<figure class=\"now\">" : "<figure>";
            out_ += "<img alt=\"\" src=\"data:image/jpeg;base64," + picture + "\"><figcaption>" +
                    with_sign(after_s, 1) + " s" + "</figcaption></figure>";
        }
        out_ += "</div>";
    }

    const AuditFacts& facts_;
    const AuditInput& input_;
    const Audit& audit_;
    std::set<std::size_t> bad_labels_;
    std::set<std::size_t> bad_counts_;
    std::string out_;
};

}  // namespace

void write_audit_page(const AuditFacts& facts, const AuditInput& input, const Audit& audit,
                      const std::string& path) {
    std::ofstream out(path);
    out << Page(facts, input, audit).text();
    out.flush();
    if (!out) throw std::runtime_error("cannot write \"" + path + "\"");
}

}  // namespace host
