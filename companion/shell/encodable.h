// Records that JSON has a form for: one that holds a NaN must not keep all others from being
// written.
#pragma once

#include <TavrineShared/model/field_table.h>
#include <TavrineShared/model/findings.h>

#include <string_view>
#include <vector>

namespace tavrine {

template <class R>
bool isEncodable(const R& record, EncodingProblem& problem) {
  JSONWriter writer(JSONStyle::compact);
  EncodeContext context;
  context.problem = &problem;
  return ValueForm<R>::encode(writer, record, context);
}

/// Takes the others out of a list, and tells of each. `list` is the name of the list.
template <class R>
void keepEncodable(std::vector<R>& records, std::string_view list, Findings& findings) {
  std::size_t place = 0;
  std::erase_if(records, [&](const R& record) {
    const std::size_t index = place++;
    EncodingProblem problem;
    if (isEncodable(record, problem)) return false;
    findings.add(FindingOutcome::elementDropped, [&] {
      Finding finding{};
      finding.path.append(list).append("[").append(std::to_string(index)).append("]");
      if (!problem.path.empty()) finding.path.append(".").append(problem.path);
      finding.reason = problem.reason;
      return finding;
    });
    return true;
  });
}

}  // namespace tavrine
