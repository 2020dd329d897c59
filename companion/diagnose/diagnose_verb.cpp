#include "companion/diagnose/diagnose_verbs.h"
#include "companion/diagnose/diagnosis_report.h"
#include "companion/diagnose/diagnosis_text.h"
#include "companion/diagnose/log_diagnosis.h"
#include "companion/parse/likely_content.h"
#include "companion/shell/duration.h"
#include "companion/shell/input.h"
#include "companion/shell/json_output.h"
#include "companion/shell/output.h"
#include "companion/views/quantity_text.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

namespace tavrine {

namespace {

constexpr const char* kEverything = "all";

struct DiagnoseOptions {
  std::vector<std::string> logs;
  RecentSpan recent = RecentSpan::usual();
  JSONOptions json;
  ColorChoice color = ColorChoice::automatic;
};

struct Diagnoses {
  std::vector<LogDiagnosis> logs;
  bool isComplete = true;  // every log could be read
};

// One log that cannot be read costs none of the others.
Diagnoses diagnoseAll(const DiagnoseOptions& options) {
  Diagnoses diagnoses;
  for (const std::string& log : options.logs) {
    try {
      const std::string text = readInput(log);
      diagnoses.logs.push_back(diagnoseLog(inputName(log), text, options.recent));
      LogDiagnosis& diagnosis = diagnoses.logs.back();
      if (diagnosis.pointCount == 0) diagnosis.likelyContent = likelyContent(text, "diagnose");
      if (options.logs.size() > 1) diagnosis.forgetPoints();
    } catch (const std::system_error& error) {
      say(error);
      diagnoses.isComplete = false;
    }
  }
  return diagnoses;
}

void sayDropped(const LogDiagnosis& diagnosis) {
  if (!diagnosis.likelyContent.empty()) {
    say("no points in " + diagnosis.name + "; " + diagnosis.likelyContent);
    return;
  }
  if (diagnosis.droppedLines == 0) return;
  say(counted(diagnosis.droppedLines, "line", "lines") + " of " + diagnosis.name +
      " gave no point; 'tavrine parse recorder --findings' tells why");
}

ExitStatus diagnose(const DiagnoseOptions& options) {
  Diagnoses diagnoses = diagnoseAll(options);
  std::vector<LogDiagnosis>& logs = diagnoses.logs;
  sortWorstFirst(logs);
  const bool isOne = options.logs.size() == 1;
  if (isOne && logs.empty()) return ExitStatus::trouble;
  const DiagnosisView view{.style = tableStyle(options.color),
                           .glyphs = glyphs(),
                           .now = currentTime()};
  if (options.json.isAskedFor()) {
    const JSONStyle style = options.json.style();
    writeJSON(isOne ? diagnosisJSON(logs.front(), style) : diagnosesJSON(logs, style));
  } else {
    writeOutput(isOne ? diagnosisText(logs.front(), view) : diagnosesTable(logs, view));
  }
  for (const LogDiagnosis& log : logs) sayDropped(log);
  if (!diagnoses.isComplete) return ExitStatus::trouble;
  const bool isAnyUnknown = std::any_of(logs.begin(), logs.end(), [](const LogDiagnosis& log) {
    return log.evidence.verdict == RuntimeDiagnosis::unknown;
  });
  return isAnyUnknown ? ExitStatus::findings : ExitStatus::fine;
}

}  // namespace

void addDiagnoseVerb(CLI::App& program, Action& chosen) {
  CLI::App& app = addCommand(program,
                             "diagnose",
                             "Tells what holds training runs back, and why.",
                             {"tavrine diagnose recorder.jsonl",
                              "tavrine diagnose runs/*/recorder.jsonl",
                              "ssh HOST cat recorder.jsonl | tavrine diagnose --recent 1h -"});
  addToHelp(app,
            "Several logs give one line each, the worst first; with --json, a list.\n"
            "Exit status: 0 a diagnosis for each log, 1 one has too little data, 2 one is\n"
            "unreadable.");
  const auto options = std::make_shared<DiagnoseOptions>();
  app.add_option("LOG", options->logs, "recorder logs; - is standard input")
      ->type_name("")
      ->required();
  app.add_option_function<std::string>(
         "--recent",
         [options](const std::string& span) {
           options->recent =
               span == kEverything ? RecentSpan::everything() : RecentSpan{*secondsNamed(span), 0};
         },
         "the end of the log to judge by, such as 90s, 15m,\n"
         "2h, 1d or all; by default 15m, and ten points")
      ->check([](const std::string& span) {
        return span == kEverything || secondsNamed(span)
                   ? ""
                   : "must be such as 90s, 15m, 2h, 1d or all, not " + span;
      })
      ->type_name("SPAN");
  addJSONOptions(app, options->json, "the verdict and its evidence as JSON");
  addColorOption(app, options->color);
  app.callback([&chosen, options] { chosen = [options] { return diagnose(*options); }; });
}

}  // namespace tavrine
