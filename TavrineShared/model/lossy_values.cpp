#include <TavrineShared/model/lossy_values.h>

namespace tavrine::detail {

DecodeContext lossyContext(const DecodeContext& context, DecodingProblem& problem) {
  DecodeContext lossy = context;
  lossy.problem = context.findings != nullptr && context.findings->hasRoom() ? &problem : nullptr;
  lossy.problemBase = context.path;
  return lossy;
}

void tellLoss(const DecodeContext& lossy, FindingOutcome outcome) {
  lossy.findings->add(outcome, [&] {
    // While there is room for findings, there is a problem to tell.
    const DecodingProblem& problem = *lossy.problem;
    Finding finding = lossy.findingHere();
    finding.found = problem.found;
    finding.reason = problem.path.empty() ? problem.reason : problem.path + ": " + problem.reason;
    return finding;
  });
}

}  // namespace tavrine::detail
