#include <TavrineShared/recorder/phase_keywords.h>

#include <TavrineShared/foundation/keyword_table.h>

#include <array>
#include <cstddef>
#include <optional>

namespace tavrine {

namespace {

// In the order in which they decide.
constexpr auto kPhaseKeywords = std::to_array<PhaseKeyword>({
    {"torch/distributed", RuntimePhase::collective},
    {"nccl", RuntimePhase::collective},
    {"allreduce", RuntimePhase::collective},
    {"optimizer", RuntimePhase::optimizer},
    {"adamw.py:step", RuntimePhase::optimizer},
    {".step:", RuntimePhase::optimizer},
    {"_engine_run_backward", RuntimePhase::backward},
    {":backward:", RuntimePhase::backward},
    {":forward:", RuntimePhase::forward},
    {"_forward_impl", RuntimePhase::forward},
    {"dataloader", RuntimePhase::dataloader},
    {"_multiprocessingdataloaderiter", RuntimePhase::dataloader},
    {"time.sleep", RuntimePhase::idle},
    {"select.select", RuntimePhase::idle},
});

const KeywordTable& phaseTable() {
  static const KeywordTable table([] {
    std::array<Keyword, kPhaseKeywords.size()> keywords{};
    for (std::size_t i = 0; i < keywords.size(); ++i) keywords[i] = {kPhaseKeywords[i].text, i};
    return keywords;
  }());
  return table;
}

}  // namespace

const PhaseKeyword* decidingKeyword(std::span<const std::string_view> frames) {
  // No keyword spans two frames, so they need not be joined.
  const std::optional<std::size_t> rank = phaseTable().lowestRank(frames);
  return rank ? &kPhaseKeywords[*rank] : nullptr;
}

}  // namespace tavrine
