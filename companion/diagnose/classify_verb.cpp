#include "companion/diagnose/diagnose_verbs.h"
#include "companion/diagnose/stack_input.h"
#include "companion/parse/likely_content.h"
#include "companion/shell/input.h"
#include "companion/shell/json_output.h"
#include "companion/shell/output.h"
#include "companion/views/quantity_text.h"
#include "companion/views/record_table.h"

#include <TavrineShared/model/field_table.h>
#include <TavrineShared/model/json_conventions.h>
#include <TavrineShared/recorder/diagnosis_evidence.h>

#include <CLI/CLI.hpp>

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace tavrine {

namespace {

struct ClassifyOptions {
  std::optional<std::string> file;
  JSONOptions json;
  ColorChoice color = ColorChoice::automatic;
};

struct ClassifiedStack {
  std::string thread;
  RuntimePhase phase;
  std::optional<std::string> keyword;  ///< that decided
  std::optional<std::string> frame;    ///< the first it stands in
  std::optional<std::int64_t> frameIndex;
  RuntimePhase withoutLauncher;

  static const RecordTable& table();
};

const RecordTable& ClassifiedStack::table() {
  using R = ClassifiedStack;
  static constexpr auto fields = fieldsOf<R>(field<&R::thread>(),
                                             field<&R::phase>(),
                                             field<&R::keyword>(),
                                             field<&R::frame>(),
                                             field<&R::frameIndex>(),
                                             field<&R::withoutLauncher>());
  static constexpr RecordTable table{"ClassifiedStack", fields};
  return table;
}

ClassifiedStack classified(const StackFrame& stack) {
  const PhaseEvidence evidence = PhaseEvidence::of(stack);
  ClassifiedStack result{.thread = stack.thread,
                         .phase = evidence.phase,
                         .keyword = {},
                         .frame = {},
                         .frameIndex = {},
                         .withoutLauncher = evidence.withoutLauncher};
  if (evidence.frame) {
    result.keyword = evidence.keyword;
    result.frame = stack.frames[*evidence.frame];
    result.frameIndex = static_cast<std::int64_t>(*evidence.frame);
  }
  return result;
}

constexpr auto kColumns = std::to_array<RecordColumn<ClassifiedStack>>({
    {{"Phase"},
     [](const ClassifiedStack& stack) -> Cell { return std::string(stack.phase.rawValue()); }},
    {{"Thread"},
     [](const ClassifiedStack& stack) -> Cell {
       return stack.thread.empty() ? std::string(kAbsent) : stack.thread;
     }},
    {{"Keyword"},
     [](const ClassifiedStack& stack) -> Cell {
       return stack.keyword.value_or(std::string(kAbsent));
     }},
    {{"Frame"},
     [](const ClassifiedStack& stack) -> Cell {
       return stack.frame.value_or(std::string(kAbsent));
     }},
});

// What the input may be instead of stacks; `otherwise` where nobody knows.
std::string insteadOfStacks(std::string_view text, const std::string& otherwise) {
  const std::string likely = likelyContent(text, "classify");
  return likely.empty() ? otherwise : "; " + likely;
}

std::vector<StackFrame> readNamed(std::string_view text, const std::string& name,
                                  Findings& findings) {
  try {
    return readStacks(text, &findings);
  } catch (const DecodingError& error) {
    throw std::runtime_error("no stacks in " + name + ": " + error.what() +
                             insteadOfStacks(text, ""));
  }
}

// A launcher's frame stands at the outer end of all that it started, whatever it does.
void sayLauncher(const std::vector<ClassifiedStack>& stacks) {
  for (const ClassifiedStack& stack : stacks) {
    if (stack.withoutLauncher == stack.phase) continue;
    say((stack.thread.empty() ? "the stack" : stack.thread) +
        " counts as collective for a frame of the launcher alone; without it the phase is " +
        std::string(stack.withoutLauncher.rawValue()));
  }
}

// A frame that could not be read may be the one that would have decided.
void sayDropped(const Findings& findings, const std::string& name) {
  const std::size_t count = findings.count(FindingOutcome::lineDropped);
  if (count == 0) return;
  say(counted(count, "line", "lines") + " of " + name + (count == 1 ? " is" : " are") +
      " neither a thread nor a frame, which is \"function (file:line)\"");
}

ExitStatus classify(const ClassifyOptions& options) {
  if (!options.file && inputIsTerminal()) {
    say("reading stacks from the terminal, up to Ctrl-D; 'py-spy dump --pid PID' prints them");
  }
  const std::string file = options.file.value_or(kStandardInput);
  const std::string name = inputName(file);
  const std::string text = readInput(file);
  Findings findings(0);
  std::vector<ClassifiedStack> stacks;
  for (const StackFrame& stack : readNamed(text, name, findings)) {
    stacks.push_back(classified(stack));
  }
  if (options.json.isAskedFor()) {
    writeJSON(encode(stacks, options.json.style()));
  } else {
    writeOutput(recordTable<ClassifiedStack>(stacks, kColumns, tableStyle(options.color)));
  }
  if (stacks.empty()) {
    say("no stacks in " + name + insteadOfStacks(text, "; 'py-spy dump --pid PID' prints them"));
    return ExitStatus::findings;
  }
  sayLauncher(stacks);
  sayDropped(findings, name);
  return ExitStatus::fine;
}

}  // namespace

void addClassifyVerb(CLI::App& program, Action& chosen) {
  CLI::App& app = addCommand(program,
                             "classify",
                             "Names the phase of each thread's stack, and why.",
                             {"py-spy dump --pid 4711 | tavrine classify",
                              "tavrine classify dump.txt",
                              "echo '[\"model.py:forward:210\"]' | tavrine classify --json"});
  addToHelp(app, "Exit status: 0 fine, 1 no stacks, 2 unreadable input.");
  const auto options = std::make_shared<ClassifyOptions>();
  app.add_option("FILE",
                 options->file,
                 "what py-spy dump prints, as text or JSON, or a JSON\n"
                 "list of frames; standard input if - or left out")
      ->type_name("");
  addJSONOptions(app, options->json, "a list with one object per stack");
  addColorOption(app, options->color);
  app.callback([&chosen, options] { chosen = [options] { return classify(*options); }; });
}

}  // namespace tavrine
