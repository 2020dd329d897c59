// Makes up JSON documents and near-documents, and holds the JSON reader and writer against other
// readers on each (see json_documents.h and json_agreement.h).
//
//   json_differential [--documents N] [--seconds N] [--seed S]
//
// Prints a line of counts; exits with 1 when anything disagrees, after printing the document as a C
// string literal.
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "fuzz/c_literal.h"
#include "fuzz/differential_arguments.h"
#include "fuzz/json_agreement.h"
#include "fuzz/json_documents.h"

namespace tavrine::fuzz {
namespace {

int run(const DifferentialArguments& arguments) {
  struct Tally {
    std::size_t documents = 0;
    std::size_t json = 0;
  };
  const DocumentMaker maker(arguments.seed);
  JSONAgreement agreement;
  std::array<Tally, kFamilyNames.size()> tallies;
  std::array<std::size_t, kKnownDifferenceNames.size()> met{};
  std::size_t documents = 0;
  std::size_t disagreements = 0;
  std::size_t bytes = 0;

  for (; arguments.goOn(documents); ++documents) {
    const auto [family, text] = maker.document(documents);
    const JSONComparison comparison = agreement.compare(text);
    Tally& tally = tallies[static_cast<std::size_t>(family)];
    ++tally.documents;
    tally.json += comparison.isJSON ? 1U : 0U;
    bytes += text.size();
    for (std::size_t k = 0; k < met.size(); ++k) met[k] += comparison.met.test(k) ? 1U : 0U;
    if (!comparison.disagreement.empty()) {
      ++disagreements;
      std::printf("document %zu of seed %llu\n  does not hold: %s\n  %s\n",
                  documents,
                  static_cast<unsigned long long>(arguments.seed),
                  comparison.disagreement.c_str(),
                  asCLiteral(text).c_str());
    }
    constexpr std::size_t kProgressEvery = 100'000;
    if ((documents + 1) % kProgressEvery == 0) {
      std::fprintf(stderr, "%zu documents, %zu disagreements\n", documents + 1, disagreements);
    }
  }

  std::printf("seed %llu: %zu documents, %zu bytes",
              static_cast<unsigned long long>(arguments.seed),
              documents,
              bytes);
  for (std::size_t k = 0; k < tallies.size(); ++k) {
    std::printf("; %s %zu (%zu JSON)", kFamilyNames[k], tallies[k].documents, tallies[k].json);
  }
  std::printf("; known differences:");
  for (std::size_t k = 0; k < met.size(); ++k) {
    std::printf("%s %s %zu", k == 0 ? "" : ",", kKnownDifferenceNames[k], met[k]);
  }
  std::printf("; %zu disagreements\n", disagreements);
  return disagreements == 0 ? 0 : 1;
}

}  // namespace
}  // namespace tavrine::fuzz

int main(int argc, char** argv) {
  using namespace tavrine::fuzz;
  const auto arguments =
      readArguments({argv, static_cast<std::size_t>(argc)}, "documents", 200'000);
  return arguments ? run(*arguments) : 2;
}
