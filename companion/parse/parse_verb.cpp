#include "companion/parse/parse_verb.h"

#include "companion/parse/kind_options.h"
#include "companion/parse/kinds.h"
#include "companion/parse/likely_content.h"
#include "companion/shell/input.h"
#include "companion/shell/json_output.h"
#include "companion/shell/output.h"
#include "companion/views/findings_text.h"

#include <TavrineShared/foundation/unicode_text.h>

#include <CLI/CLI.hpp>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tavrine {

namespace {

struct ParseOptions {
  std::optional<std::string> file;
  JSONOptions json;
  bool table = false;
  std::string findings;  // empty, or one of the two below
  ColorChoice color = ColorChoice::automatic;
  GivenKindOptions ofKind;
};

constexpr const char* kFindingsAsText = "text";
constexpr const char* kFindingsAsJSON = "json";

OutputForm outputForm(const ParseOptions& options) {
  if (options.table) return OutputForm::table;
  return options.json.style() == JSONStyle::pretty ? OutputForm::prettyJSON
                                                   : OutputForm::compactJSON;
}

// Behind a semicolon.
std::string queryHint(const Kind& kind, const std::string& whatItPrints) {
  return "; 'tavrine query " + std::string(kind.name) + "' prints " + whatItPrints;
}

void sayWhatIsAwaited(const Kind& kind) {
  say("reading " + std::string(kind.input) + " from the terminal, up to Ctrl-D" +
      queryHint(kind, "the command that yields it"));
}

// Silence about an input of another kind would leave the user with an empty list and no idea why.
void sayNothingFound(const Kind& kind, const std::string& input, std::string_view text) {
  const std::string likely = likelyContent(text, "parse " + std::string(kind.name));
  say("no " + std::string(kind.records) + " in " + input +
      (likely.empty() ? queryHint(kind, "the command whose output is expected") : "; " + likely));
}

// A log of which nothing is asked but what it says gives an answer whatever it is.
void sayUnreadable(const std::string& input, std::string_view text) {
  const std::string likely = unreadableContent(text);
  if (!likely.empty()) say(input + ": " + likely);
}

void sayLeftOut(const ParseResult& result) {
  say("left out of the JSON:");
  writeWords(findingsText(result.leftOut));
}

ExitStatus parse(const Kind& kind, const ParseOptions& options) {
  if (!options.file && inputIsTerminal()) sayWhatIsAwaited(kind);
  const std::string file = options.file.value_or(kStandardInput);
  const std::string text = readInput(file);

  const KindOptions kindOptions = options.ofKind.resolved();
  const bool findingsAsked = !options.findings.empty();
  Findings findings;
  const ParseRequest request{
      .text = text,
      .options = kindOptions,
      .form = outputForm(options),
      .style = {.paint = paint(options.color)},
      .findings = findingsAsked ? &findings : nullptr,
      .findingsInDocument = options.findings == kFindingsAsJSON,
  };
  const ParseResult result = kind.parse(request);
  if (options.table) {
    writeOutput(result.output);
  } else {
    writeJSON(result.output);
  }

  if (options.findings == kFindingsAsText) {
    writeWords(findingsText(findings));
  } else if (result.leftOut.count() > 0) {
    sayLeftOut(result);
  } else if (!findingsAsked && result.recordCount == 0 && !trimmed(text).empty()) {
    sayNothingFound(kind, inputName(file), text);
  }
  if (findingsAsked || result.recordCount > 0) sayUnreadable(inputName(file), text);
  const bool somethingToTell = findings.lossCount() > 0 || result.leftOut.count() > 0;
  return somethingToTell ? ExitStatus::findings : ExitStatus::fine;
}

void addOptions(CLI::App& app, ParseOptions& options) {
  app.add_option("FILE", options.file, "what to read; standard input if - or left out")
      ->type_name("");
  auto* const table = app.add_flag("--table", options.table, "an aligned table for people");
  for (CLI::Option* const json : addJSONOptions(app, options.json, "JSON, as is the default")) {
    table->excludes(json);
  }
  auto* const findings = app.add_flag("--findings{text}",
                                      options.findings,
                                      "tell what was lost and why: on standard error,\n"
                                      "or with =json in one document with the records;\n"
                                      "the exit status is then 1 if anything was");
  findings->option_text("[=text|json]")->check([](const std::string& form) {
    const bool isKnown = form == kFindingsAsText || form == kFindingsAsJSON;
    return isKnown ? "" : "must be text or json, not " + form;
  });
  addColorOption(app, options.color);
}

std::vector<std::string> examplesOf(const Kind& kind) {
  const std::string name(kind.name);
  const std::string example(kind.example);
  const std::string command = "tavrine parse " + name;
  return {"tavrine query " + name + " | sh | " + command + " --table",
          command + " --findings " + example,
          command + " --compact < " + example + " > " + name + ".json"};
}

void addKind(CLI::App& verb, const Kind& kind, Action& chosen) {
  CLI::App& app = addCommand(
      verb,
      std::string(kind.name),
      "Reads " + std::string(kind.input) + " and prints the " + std::string(kind.records) + ".",
      examplesOf(kind));
  const auto options = std::make_shared<ParseOptions>();
  addOptions(app, *options);
  addKindOptions(app, kind.options, options->ofKind);
  app.callback([&kind, &chosen, options] {
    if (options->findings == kFindingsAsJSON && options->table) {
      throw CLI::ExcludesError("--findings=json", "--table");
    }
    chosen = [&kind, options] { return parse(kind, *options); };
  });
}

}  // namespace

void addParseVerb(CLI::App& program, Action& chosen) {
  CLI::App& verb = addCommandGroup(program,
                                   "parse",
                                   "Turns a tool's output into JSON or a table.",
                                   "kind",
                                   {"tavrine parse gpus --table gpus.csv"});
  for (const Kind& kind : kinds()) addKind(verb, kind, chosen);
}

}  // namespace tavrine
