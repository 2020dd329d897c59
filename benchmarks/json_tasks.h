// What benchmarks of JSON measure beside: validation alone, by us, and the raw parse of simdjson,
// the fastest parser there is.
//
// The raw parse only fills a DOM and takes no value out of it. It stands in the tables twice: with
// a parser made for the document, which gets all its memory from the system, and with a parser that
// has been warmed up on the same document before. Where memory comes from decides much, for a page
// of the system's is slow at its first use. So either form stands beside a decoder in the same
// position: the first beside one with fresh memory, the second beside one whose heap has grown.
//
// Each task keeps a reference to the document it is given.
#pragma once

#include <TavrineShared/foundation/json_reader.h>

#include <benchmark/benchmark.h>
#include <malloc.h>
#include <simdjson.h>

#include <functional>
#include <limits>
#include <memory>
#include <string>

namespace tavrine::benchmarks {

/// Lets the heap keep what it has once got, all but buffers of a size that only raw parses and
/// whole documents have. Left alone, the allocator keeps more or less, as the tasks before have it.
inline void keepHeap() {
  constexpr int kLargeBuffer = 32 * 1024 * 1024;
  mallopt(M_MMAP_THRESHOLD, kLargeBuffer);
  mallopt(M_TRIM_THRESHOLD, std::numeric_limits<int>::max());
}

/// To be done between tasks that are to find a heap that owns no free memory.
inline void giveBackHeap() { malloc_trim(0); }

inline std::function<void()> validation(const std::string& document) {
  return [&document] {
    JSONReader reader(document);
    bool isJSON = reader.skip() && reader.finish();
    benchmark::DoNotOptimize(isJSON);
  };
}

/// Makes the parser with its DOM.
inline auto rawParse(const simdjson::padded_string& document) {
  return [&document] {
    simdjson::dom::parser parser;
    benchmark::DoNotOptimize(parser.parse(document).error());
    return parser;
  };
}

inline std::function<void()> warmRawParse(const simdjson::padded_string& document) {
  const auto parser = std::make_shared<simdjson::dom::parser>();
  return [&document, parser] { benchmark::DoNotOptimize(parser->parse(document).error()); };
}

}  // namespace tavrine::benchmarks
