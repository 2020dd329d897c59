// A list of servers as compact JSON: hardly a blank and far more numbers than texts, where a reader
// is busiest per byte. Beside simdjson, the fastest parser there is.

#include <TavrineShared/model/gpu_server.h>
#include <TavrineShared/model/json_conventions.h>

#include "benchmarks/comparison.h"
#include "benchmarks/json_tasks.h"
#include "benchmarks/large_lab.h"

namespace tavrine::benchmarks {

namespace {

using Servers = std::vector<ServerSummary>;

int run(int argc, char** argv) {
  keepHeap();
  const Servers servers = largeServerList(10'000);
  const std::string compact = encode(servers);
  const simdjson::padded_string padded(compact);

  Comparison table("JSON: " + std::to_string(servers.size()) + " servers, " +
                   std::to_string(compact.size() / 1'000'000) + " MB compact; simdjson runs its " +
                   simdjson::get_active_implementation()->name() + " code");
  const auto decodeServers = [&compact] { return decode<Servers>(compact); };
  table.making("decode", compact.size(), decodeServers);
  table.making("decode, fresh memory", compact.size(), decodeServers, giveBackHeap);
  table.task("validate", compact.size(), validation(compact));
  table.making("simdjson raw parse", compact.size(), rawParse(padded), giveBackHeap);
  table.task("simdjson raw parse, warm", compact.size(), warmRawParse(padded));

  table.row("decode, fresh memory", "simdjson raw parse", 0.45, 0.7);
  table.row("decode", "simdjson raw parse, warm", 0.45, 0.7);
  table.row("validate", "simdjson raw parse", 0.85, 1.2);
  table.row("validate", "simdjson raw parse, warm", 0.85, 1.2);
  return table.run(argc, argv);
}

}  // namespace

}  // namespace tavrine::benchmarks

int main(int argc, char** argv) { return tavrine::benchmarks::run(argc, argv); }
