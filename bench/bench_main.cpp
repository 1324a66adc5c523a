// Shared main of the benchmark programs. After the usual report it prints, for every benchmark
// "NAME" that has a partner "NAME_Reference" in the same run, the ratio of their times, so that a
// figure can be read against a reference measured on the same machine at the same moment.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace {

class RatioReporter : public benchmark::ConsoleReporter {
  public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const auto& run : runs) {
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name != "median") {
                continue;
            }
            std::string name = run.run_name.function_name;
            if (!run.run_name.args.empty()) {
                name += "/" + run.run_name.args;
            }
            times_[name] =
                run.GetAdjustedRealTime() / benchmark::GetTimeUnitMultiplier(run.time_unit);
        }
        ConsoleReporter::ReportRuns(runs);
    }

    void printRatios() const {
        const std::string suffix = "_Reference";
        for (const auto& [name, time] : times_) {
            if (name.size() > suffix.size() &&
                name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0) {
                continue;
            }
            std::string base = name, args;
            if (auto slash = name.find('/'); slash != std::string::npos) {
                base = name.substr(0, slash);
                args = name.substr(slash);
            }
            auto ref = times_.find(base + suffix + args);
            if (ref == times_.end() || ref->second <= 0) {
                continue;
            }
            std::printf("RATIO %-48s %12.3f us vs reference %12.3f us = %.4f\n", name.c_str(),
                        time * 1e6, ref->second * 1e6, time / ref->second);
        }
    }

  private:
    std::map<std::string, double> times_;
};

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printRatios();
    benchmark::Shutdown();
    return 0;
}
