// The patterns that define what a training log tells, as they are written down: each applied to the
// whole text, in ICU's syntax, which others share as far as these go.
#pragma once

#include <array>
#include <string>
#include <string_view>

namespace tavrine::naive {

inline constexpr std::array<std::string_view, 2> kThroughputPreferredPatterns = {
    R"re((?i)([0-9]+(?:\.[0-9]+)?)\s*(?:it/s|iter/s|iters/s|steps?/s|samples?/s))re",
    R"re((?i)(?:throughput|samples_per_second|iters_per_second|steps_per_second)\s*[:=]\s*)re"
    R"re(([0-9]+(?:\.[0-9]+)?))re",
};

inline constexpr std::array<std::string_view, 1> kThroughputFallbackPatterns = {
    R"re((?i)([0-9]+(?:\.[0-9]+)?)\s*(?:tok/s|tokens?/s|tokens_per_second))re",
};

inline constexpr std::array<std::string_view, 2> kLossPatterns = {
    R"re((?i)(?:train_)?loss\s*[:=]\s*([0-9]+(?:\.[0-9]+)?(?:e[-+]?[0-9]+)?))re",
    R"re((?i)\bloss\s+([0-9]+(?:\.[0-9]+)?(?:e[-+]?[0-9]+)?))re",
};

inline constexpr std::array<std::string_view, 3> kDatasetPatterns = {
    R"re((?i)\bdataset(?:_name)?\s*[:=]\s*['\"]?([A-Za-z0-9_./\-]+)['\"]?)re",
    R"re((?i)--dataset(?:[ =])\s*([A-Za-z0-9_./\-]+))re",
    R"re((?i)\bdata_path\s*[:=]\s*['\"]?([^\s'\"]+)['\"]?)re",
};

inline constexpr std::array<std::string_view, 3> kModelPatterns = {
    R"re((?i)\bmodel(?:_name)?\s*[:=]\s*['\"]?([A-Za-z0-9_./\-]+)['\"]?)re",
    R"re((?i)--arch(?:itecture)?(?:[ =])\s*([A-Za-z0-9_./\-]+))re",
    R"re((?i)\barchitecture\s*[:=]\s*['\"]?([A-Za-z0-9_./\-]+)['\"]?)re",
};

inline constexpr std::array<std::string_view, 3> kCheckpointPatterns = {
    R"re((?i)(?:saving|saved)\s+checkpoint\s+(?:to\s+)?['\"]?([^\s'\"]+)['\"]?)re",
    R"re((?i)checkpoint(?:_dir|_path|\s+dir|\s+path)?\s*[:=]\s*['\"]?([^\s'\"]+)['\"]?)re",
    R"re((?i)--output[_-]dir(?:[ =])\s*([^\s]+))re",
};

/// Of the first, group 1 is the step and group 2 the loss; of the second, the other way round.
inline constexpr std::array<std::string_view, 2> kValidationPatterns = {
    R"re((?im)^.*?(?:step|iter|iteration)\s*[:= ]\s*([0-9]+).*?)re"
    R"re((?:val[_ ]?loss|validation[_ ]?loss|eval[_/]?loss)\s*[:=]\s*)re"
    R"re(([0-9]+(?:\.[0-9]+)?(?:e[-+]?[0-9]+)?))re",
    R"re((?im)^.*?(?:val[_ ]?loss|validation[_ ]?loss|eval[_/]?loss)\s*[:=]\s*)re"
    R"re(([0-9]+(?:\.[0-9]+)?(?:e[-+]?[0-9]+)?).*?(?:step|iter|iteration)\s*[:= ]\s*([0-9]+))re",
};

inline constexpr std::array<std::string_view, 18> kHyperparameterKeys = {
    "batch_size",
    "lr",
    "learning_rate",
    "weight_decay",
    "momentum",
    "epochs",
    "num_epochs",
    "max_steps",
    "warmup_steps",
    "dropout",
    "n_layers",
    "n_heads",
    "d_model",
    "hidden_size",
    "seq_len",
    "optimizer",
    "scheduler",
    "seed",
};

inline std::string hyperparameterPattern(std::string_view key) {
  return R"re((?i)\b)re" + std::string(key) + R"re(\s*[:=]\s*['\"]?([A-Za-z0-9_.\-+e]+)['\"]?)re";
}

}  // namespace tavrine::naive
