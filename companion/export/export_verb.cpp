#include "companion/export/export_verb.h"

#include "companion/export/csv_text.h"
#include "companion/export/html_page.h"
#include "companion/export/metric_text.h"
#include "companion/shell/nearest_word.h"
#include "companion/shell/output.h"
#include "companion/snapshot/snapshot_input.h"
#include "companion/views/joined.h"
#include "companion/views/quantity_text.h"
#include "companion/views/visible_text.h"

#include <TavrineShared/foundation/file.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <iterator>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tavrine {

namespace {

struct ExportOptions {
  SnapshotInput input;
  std::string format;
  std::optional<std::string> output;
  std::string record;
  bool processes = false;
};

// What came out of it, and what to say about that.
struct Exported {
  std::string text;
  std::vector<std::string> lost;
};

Exported metrics(const AppSnapshot& snapshot, const ExportOptions& options,
                 std::string (*write)(std::span<const MetricFamily>)) {
  MetricExport made = metricFamilies(snapshot, {.processes = options.processes});
  return {write(made.families), std::move(made.leftOut)};
}

Exported csvOf(const AppSnapshot& snapshot, const CSVKind& kind) {
  CSVText made = csvText(snapshot, kind);
  Exported exported{std::move(made.text), {}};
  if (made.emptied > 0) {
    exported.lost.push_back(std::string(kind.name) + ": " + counted(made.emptied, "cell", "cells") +
                            " left empty: " + made.whyEmptied);
  }
  return exported;
}

struct Format {
  std::string_view name;
  Exported (*write)(const AppSnapshot& snapshot, const ExportOptions& options);
};

constexpr const char* kStandardOutput = "-";

constexpr std::string_view kCSV = "csv";
constexpr auto kFormats = std::to_array<Format>({
    {"prometheus",
     [](const AppSnapshot& snapshot, const ExportOptions& options) {
       return metrics(snapshot, options, prometheusText);
     }},
    {"openmetrics",
     [](const AppSnapshot& snapshot, const ExportOptions& options) {
       return metrics(snapshot, options, openMetricsText);
     }},
    {kCSV,
     [](const AppSnapshot& snapshot, const ExportOptions& options) {
       return csvOf(snapshot, *findCSVKind(options.record));
     }},
    {"html",
     [](const AppSnapshot& snapshot, const ExportOptions&) {
       return Exported{htmlPage(snapshot), {}};
     }},
});

const Format* findFormat(std::string_view name) {
  for (const Format& format : kFormats) {
    if (format.name == name) return &format;
  }
  return nullptr;
}

template <class List>
std::vector<std::string> namesOf(const List& list) {
  std::vector<std::string> names;
  names.reserve(std::size(list));
  for (const auto& each : list) names.emplace_back(each.name);
  return names;
}

std::string notAmong(const std::vector<std::string>& names, const std::string& name) {
  const std::string meant = didYouMean(name, names);
  return meant.empty() ? "must be one of " + joined(names, ", ", std::identity()) + ", not " + name
                       : "must not be " + name + meant;
}

// In lines as long as those of a help.
std::string wrapped(std::string text) {
  constexpr std::size_t kColumns = 78;
  std::size_t lineStart = 0;
  for (std::size_t blank = text.find(' '); blank != std::string::npos;
       blank = text.find(' ', blank + 1)) {
    const std::size_t end = std::min(text.find(' ', blank + 1), text.size());
    if (end - lineStart <= kColumns) continue;
    text[blank] = '\n';
    lineStart = blank + 1;
  }
  return text;
}

// Line by line, for a text of lines stays one.
std::string visibleLines(std::string_view text) {
  std::string visible;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    visible.append(visibleText(text.substr(0, end)));
    if (end < text.size()) visible.push_back('\n');
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return visible;
}

// In the words in which the program says that it cannot read.
template <class Work>
void writing(const std::filesystem::path& path, const Work& work) {
  try {
    work();
  } catch (const std::filesystem::filesystem_error& error) {
    throw std::runtime_error("cannot write " + path.string() + ": " + error.code().message());
  }
}

// Whether anything was lost.
bool deliver(const Exported& exported, const std::optional<std::filesystem::path>& path) {
  if (path && *path != kStandardOutput) {
    writing(*path, [&] { replaceFile(*path, exported.text); });
  } else {
    writeOutput(outputIsTerminal() ? visibleLines(exported.text) : exported.text);
  }
  for (const std::string& lost : exported.lost) say(lost);
  return !exported.lost.empty();
}

bool writeFolder(const AppSnapshot& snapshot, const std::filesystem::path& folder) {
  writing(folder, [&] { std::filesystem::create_directory(folder); });
  bool isAnyLost = false;
  for (const CSVKind& kind : csvKinds()) {
    const std::filesystem::path file = folder / (std::string(kind.name) + ".csv");
    isAnyLost |= deliver(csvOf(snapshot, kind), file);
  }
  return isAnyLost;
}

ExitStatus exportSnapshot(const ExportOptions& options) {
  Findings findings;
  const AppSnapshot snapshot = readSnapshot(options.input, findings);
  const bool isFolder = options.format == kCSV && options.record.empty();
  const bool isAnyLost =
      isFolder ? writeFolder(snapshot, *options.output)
               : deliver(findFormat(options.format)->write(snapshot, options), options.output);
  const ExitStatus status = sayLosses(options.input, findings);
  return isAnyLost ? ExitStatus::findings : status;
}

// Only what several options say together can be wrong here.
void checkTogether(const ExportOptions& options) {
  const bool isCSV = options.format == kCSV;
  if (!isCSV && !options.record.empty()) {
    throw CLI::ValidationError("--record goes with --format csv only");
  }
  if (isCSV && options.record.empty() &&
      options.output.value_or(kStandardOutput) == kStandardOutput) {
    throw CLI::ValidationError(
        "csv needs --record KIND, or --output FOLDER for a file of each kind");
  }
  const bool isOfMetrics = options.format == "prometheus" || options.format == "openmetrics";
  if (options.processes && !isOfMetrics) {
    throw CLI::ValidationError("--processes goes with --format prometheus or openmetrics only");
  }
}

}  // namespace

void addExportVerb(CLI::App& program, Action& chosen) {
  CLI::App& app = addCommand(program,
                             "export",
                             "Writes a snapshot for other programs.",
                             {"tavrine export --format html > lab.html",
                              "tavrine export --format prometheus --output lab.prom",
                              "tavrine export --format csv --record gpus snapshot.json",
                              "tavrine export --format csv --output lab snapshot.json"});
  addToHelp(
      app,
      wrapped("Kinds of records: " + joined(namesOf(csvKinds()), ", ", std::identity()) + "."));
  addToHelp(app,
            "Exit status: 0 nothing was lost, 1 something was, 2 it is no snapshot, or\n"
            "what came of it cannot be written.");
  const auto options = std::make_shared<ExportOptions>();
  addSnapshotInput(app, options->input, "taken");
  app.add_option("--format", options->format, "what to make of it")
      ->required()
      ->check([](const std::string& name) {
        return findFormat(name) != nullptr ? "" : notAmong(namesOf(kFormats), name);
      })
      ->type_name("FORMAT")
      ->option_text("=prometheus|openmetrics|csv|html");
  app.add_option("--output",
                 options->output,
                 "the file to replace, in one step, instead of\n"
                 "writing to standard output; for csv without\n"
                 "--record a folder, for a file of each kind")
      ->type_name("PATH");
  app.add_option("--record", options->record, "of which kind of record csv is a table, see below")
      ->check([](const std::string& name) {
        return findCSVKind(name) != nullptr ? "" : notAmong(namesOf(csvKinds()), name);
      })
      ->type_name("KIND");
  app.add_flag("--processes",
               options->processes,
               "also metrics of each process: many series that\n"
               "soon end, with command lines in them");
  app.callback([&chosen, options] {
    checkTogether(*options);
    chosen = [options] { return exportSnapshot(*options); };
  });
}

}  // namespace tavrine
