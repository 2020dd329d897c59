#include "companion/shell/nearest_word.h"
#include "companion/shell/output.h"
#include "companion/snapshot/snapshot_verbs.h"

#include <TavrineShared/model/app_snapshot.h>
#include <TavrineShared/model/field_table.h>
#include <TavrineShared/model/json_schema.h>

#include <CLI/CLI.hpp>

#include <memory>
#include <string>
#include <vector>

namespace tavrine {

namespace {

std::vector<const RecordTable*> allRecords() {
  std::vector<const RecordTable*> records = recordsWithin(AppSnapshot::table());
  records.push_back(&GPUProcessStat::table());  // the one record that is in no snapshot
  return records;
}

const RecordTable* findRecord(const std::string& name) {
  for (const RecordTable* const table : allRecords()) {
    if (table->name == name) return table;
  }
  return nullptr;
}

}  // namespace

std::vector<std::string> schemaNames() {
  std::vector<std::string> names;
  for (const RecordTable* const table : allRecords()) names.emplace_back(table->name);
  return names;
}

void addSchemaVerb(CLI::App& program, Action& chosen) {
  CLI::App& app = addCommand(program,
                             "schema",
                             "Prints the JSON Schema of snapshots and records.",
                             {"tavrine schema > snapshot.schema.json", "tavrine schema GPUStat"});
  const auto name = std::make_shared<std::string>(AppSnapshot::table().name);
  app.add_option("RECORD", *name, "such as GPUStat; AppSnapshot, the whole, if left out")
      ->type_name("")
      ->check([](const std::string& record) {
        return findRecord(record) != nullptr
                   ? ""
                   : "unknown record: " + record + meantOrKnown(record, schemaNames());
      });
  app.callback([&chosen, name] {
    chosen = [name] {
      writeOutput(jsonSchema(*findRecord(*name)).append("\n"));
      return ExitStatus::fine;
    };
  });
}

}  // namespace tavrine
