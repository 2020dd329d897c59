#include "companion/completion/completion.h"

#include "companion/export/csv_text.h"
#include "companion/shell/usage.h"
#include "companion/snapshot/snapshot_verbs.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

namespace tavrine {

namespace {

std::vector<std::string> csvKindNames() {
  std::vector<std::string> names;
  for (const CSVKind& kind : csvKinds()) names.emplace_back(kind.name);
  return names;
}

// What a value is called in the help, and what may stand there.
struct ValueKind {
  std::string_view name;
  std::string_view lookUp;              // what the shell is told to look up, or
  std::vector<std::string> (*words)();  // all there are
};

constexpr auto kValueKinds = std::to_array<ValueKind>({
    {"CAPTURE", ":folders", nullptr},
    {"FILE", ":files", nullptr},
    {"FOLDER", ":folders", nullptr},
    {"HOST", ":hosts", nullptr},
    {"KIND", "", csvKindNames},
    {"LOG", ":files", nullptr},
    {"PATH", ":files", nullptr},
    {"PROGRAM", ":files", nullptr},
    {"RECORD", "", schemaNames},
});

// The lines, of those words only that begin as the user did.
class Offer {
 public:
  explicit Offer(std::string_view begun) : begun_(begun) {}

  void add(const std::string& word, std::string meaning = "") {
    if (!word.starts_with(begun_)) return;
    std::replace(meaning.begin(), meaning.end(), '\n', ' ');
    lines_.append(word).append("\t").append(meaning).append("\n");
  }
  void addLookUp(std::string_view what) { lines_.append(what).append("\n"); }

  const std::string& lines() const { return lines_; }

 private:
  std::string_view begun_;
  std::string lines_;
};

std::vector<const CLI::App*> commandsOf(const CLI::App& command) {
  return command.get_subcommands([](const CLI::App*) { return true; });
}

std::vector<const CLI::Option*> optionsOf(const CLI::App& command) {
  return command.get_options([](const CLI::Option* option) { return option->nonpositional(); });
}

bool needsValue(const CLI::Option& option) { return option.get_items_expected_min() > 0; }

const CLI::Option* findOption(const CLI::App& command, std::string_view name) {
  for (const CLI::Option* option : optionsOf(command)) {
    if (option->check_name(std::string(name))) return option;
  }
  return nullptr;
}

// `text` is how the help writes the value: "=a|b|c", "[=a|b]", or the name of a kind of values.
void addValues(Offer& offer, std::string_view text, const std::string& prefix) {
  text.remove_prefix(std::min(text.find_first_not_of("[="), text.size()));
  if (text.ends_with(']')) text.remove_suffix(1);
  if (text.find('|') != std::string_view::npos) {
    while (!text.empty()) {
      const std::size_t end = std::min(text.find('|'), text.size());
      offer.add(prefix + std::string(text.substr(0, end)));
      text.remove_prefix(std::min(end + 1, text.size()));
    }
    return;
  }
  for (const ValueKind& kind : kValueKinds) {
    if (kind.name != text) continue;
    if (kind.words == nullptr) return offer.addLookUp(kind.lookUp);
    for (const std::string& word : kind.words()) offer.add(prefix + word);
  }
}

void addOptions(Offer& offer, const CLI::App& command) {
  for (const CLI::Option* option : optionsOf(command)) {
    for (const std::string& name : option->get_lnames()) {
      offer.add("--" + name, option->get_description());
      if (!needsValue(*option)) addValues(offer, valueText(*option), "--" + name + "=");
    }
  }
}

void addWords(Offer& offer, const CLI::App& command) {
  for (const CLI::App* each : commandsOf(command)) {
    offer.add(each->get_name(), each->get_description());
  }
  for (const CLI::Option* option : command.get_options()) {
    if (option->get_positional()) addValues(offer, option->get_name(true), "");
  }
}

// Where the words before the one to complete have led to.
struct Place {
  const CLI::App* command;
  const CLI::Option* awaiting = nullptr;  // this option's value comes next
  bool isBehindOptions = false;           // since there was a --
  bool isWrong = false;                   // a verb or a kind that there is not

  void pass(const std::string& word) {
    if (awaiting != nullptr) {
      awaiting = nullptr;
    } else if (isBehindOptions) {
      return;
    } else if (word == "--") {
      isBehindOptions = true;
    } else if (word.starts_with('-')) {
      const CLI::Option* const option = findOption(*command, word);
      if (option != nullptr && needsValue(*option)) awaiting = option;
    } else {
      enter(word);
    }
  }

  void enter(const std::string& word) {
    const std::vector<const CLI::App*> commands = commandsOf(*command);
    if (commands.empty()) return;  // an argument
    const auto named = std::find_if(commands.begin(), commands.end(), [&](const CLI::App* each) {
      return each->get_name() == word;
    });
    if (named == commands.end()) {
      isWrong = true;
    } else {
      command = *named;
    }
  }
};

}  // namespace

std::string completions(const CLI::App& program, const std::vector<std::string>& words) {
  const std::string last = words.empty() ? "" : words.back();
  Place place{&program};
  for (std::size_t i = 0; i + 1 < words.size(); ++i) place.pass(words[i]);

  if (place.isWrong) return "";

  Offer offer(last);
  const std::size_t equals = last.find('=');
  if (place.awaiting != nullptr) {
    addValues(offer, valueText(*place.awaiting), "");
  } else if (place.isBehindOptions || !last.starts_with('-')) {
    addWords(offer, *place.command);
  } else if (equals == std::string::npos) {
    addOptions(offer, *place.command);
  } else if (const auto* option = findOption(*place.command, last.substr(0, equals))) {
    addValues(offer, valueText(*option), last.substr(0, equals + 1));
  }
  return offer.lines();
}

}  // namespace tavrine
