#include <TavrineShared/tavrine_shared.h>

#include <iostream>
#include <string>

using namespace tavrine;

std::string recorded() {
  std::string log;
  for (int second = 0; second < 60; second += 10) {
    log += R"({"t": )" + std::to_string(1794764890 + second) +
           R"(, "gpu_util": 9, "py_spy": [{"thread": "MainThread", "frames": )" +
           R"(["torch/utils/data/dataloader.py:__next__:708", "train.py:epoch:88"]}]})" + "\n";
  }
  return log;
}

void verdict() {
  const std::string log = recorded();
  const RuntimeDiagnosis diagnosis =
      RuntimeDiagnosis::derive(RecorderLineParser::latestSnapshot(log),
                               RecorderLineParser::parse(log));
  std::cout << diagnosis.label() << '\n';
  if (diagnosis == RuntimeDiagnosis::dataloaderStall) std::cout << "feed it faster\n";
}

void evidence() {
  const std::string log = recorded();
  const auto evidence = DiagnosisEvidence::of(RecorderLineParser::latestSnapshot(log),
                                              RecorderLineParser::parse(log));
  for (const DiagnosisStep& step : evidence.steps) {
    std::cout << step.test.title() << (step.decides ? ": yes" : ": no") << '\n';
    for (const DiagnosisComparison& each : step.comparisons) {
      std::cout << "  " << each.quantity << ' ';
      if (each.value) {
        std::cout << *each.value << ' ' << each.relation.title() << ' ' << each.threshold << '\n';
      } else {
        std::cout << "was not measured\n";
      }
    }
  }
  for (const DiagnosisDoubt& doubt : evidence.doubts) std::cout << "but " << doubt.detail << '\n';
}

void phases() {
  const StackFrame stack{.thread = "MainThread",
                         .frames = {"model.py:forward:210", "torch/distributed/run.py:main:7"}};
  const PhaseEvidence why = PhaseEvidence::of(stack);
  std::cout << why.phase.rawValue() << ", by \"" << why.keyword << "\" in frame " << *why.frame
            << "; without the launcher " << why.withoutLauncher.rawValue() << '\n';
}

void alive() {
  const auto state = DashboardRunState::derive(/*maxGPUUtil=*/0,
                                               /*hasTrainingProcess=*/true,
                                               /*secondsSinceLogUpdate=*/900,
                                               RunStatus::running);
  std::cout << state.label() << '\n';
}

int main() {
  verdict();
  evidence();
  phases();
  alive();
}
