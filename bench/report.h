// Registration of the benchmarks of bench_pass and the tables it prints.
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

namespace bench {

void register_passes(int frames);
void register_parts(int frames);

// Markdown tables of the passes, of the parts beside their floors, and of the goals. Of several
// repetitions it takes the median.
class TableReporter : public benchmark::BenchmarkReporter {
  public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override;
    void Finalize() override;

  private:
    struct Row {
        std::string name;
        std::string label;
        std::map<std::string, double> values;
    };

    const Row* find(const std::string& name) const;
    void print_passes() const;
    void print_parts() const;
    void print_goals() const;

    std::vector<Row> rows_;
};

}  // namespace bench
