// What was lost in each of the files that a snapshot was made of.
#pragma once

#include <TavrineShared/model/findings.h>

#include <cstddef>
#include <list>
#include <string>
#include <utility>

namespace tavrine {

struct SourceFindings {
  std::string source;  ///< such as "gpu-01/gpus.csv"
  Findings findings;
};

/// One for each source, in the order in which they were read.
class FindingsBook {
 public:
  /// For a source that is now read. Good for as long as the book.
  Findings& open(std::string source) {
    // A lab has many files, so each tells some in full and only counts the others.
    constexpr std::size_t kToldOfOne = 1000;
    sources_.push_back({std::move(source), Findings(kToldOfOne)});
    return sources_.back().findings;
  }

  /// Those of another book, behind these.
  void append(FindingsBook more) { sources_.splice(sources_.end(), more.sources_); }

  const std::list<SourceFindings>& sources() const { return sources_; }

  std::size_t lossCount() const {
    std::size_t count = 0;
    for (const SourceFindings& each : sources_) count += each.findings.lossCount();
    return count;
  }

 private:
  std::list<SourceFindings> sources_;  // a reference that was given out stays good
};

}  // namespace tavrine
