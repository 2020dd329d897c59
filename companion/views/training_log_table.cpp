#include "companion/views/training_log_table.h"

#include "companion/views/number_text.h"
#include "companion/views/record_table.h"

#include <array>
#include <optional>
#include <utility>
#include <vector>

namespace tavrine {

namespace {

struct Signal {
  std::string name;
  std::string value;
};

constexpr auto kColumns = std::to_array<RecordColumn<Signal>>({
    {{"Signal"}, [](const Signal& signal) -> Cell { return signal.name; }},
    {{"Value"}, [](const Signal& signal) -> Cell { return signal.value; }},
});

class Signals {
 public:
  void add(std::string name, std::string value) {
    rows_.push_back({std::move(name), std::move(value)});
  }
  void add(std::string name, const std::optional<double>& value) {
    constexpr int kDigits = 6;
    if (value) add(std::move(name), significantDigits(*value, kDigits));
  }
  void add(std::string name, const std::optional<std::string>& value) {
    if (value) add(std::move(name), *value);
  }

  const std::vector<Signal>& rows() const { return rows_; }

 private:
  std::vector<Signal> rows_;
};

}  // namespace

std::string trainingLogTable(const ParsedLogSignals& signals, const TableStyle& style) {
  Signals shown;
  shown.add("status", std::string(signals.status.title()));
  for (const std::string& warning : signals.warnings) shown.add("warning", warning);
  shown.add("loss", signals.loss);
  shown.add("throughput", signals.throughput);
  shown.add("dataset", signals.datasetName);
  shown.add("model", signals.modelName);
  shown.add("checkpoint", signals.checkpointPath);
  for (const auto& [key, value] : signals.hyperparameters) shown.add(key, value);
  for (const TrainingMetric& metric : signals.valMetrics) {
    shown.add("validation loss, step " + std::to_string(metric.step), std::optional(metric.loss));
  }
  return recordTable<Signal>(shown.rows(), kColumns, style);
}

}  // namespace tavrine
