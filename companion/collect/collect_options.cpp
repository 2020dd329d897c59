#include "companion/collect/collect_options.h"

#include "companion/capture/capture.h"
#include "companion/collect/config_file.h"
#include "companion/shell/host.h"
#include "companion/shell/nearest_word.h"
#include "companion/shell/usage.h"
#include "companion/views/visible_text.h"

#include <TavrineShared/foundation/file.h>
#include <TavrineShared/foundation/unicode_text.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <set>
#include <stdexcept>
#include <string_view>
#include <system_error>

namespace tavrine {

namespace {

constexpr const char* kThisMachine = ".";
constexpr std::size_t kMebibyte = std::size_t{1} << 20;

// What one run is to do is for the command line to say.
constexpr auto kNoSettings =
    std::to_array<std::string_view>({"config", "help", "script", "json", "pretty", "compact"});
constexpr auto kSettingsOfRefresh = std::to_array<std::string_view>({"every", "file"});

constexpr auto kCounts =
    std::to_array<std::string_view>({"at-once", "most-per-file", "most-per-host"});

// Those of the hosts are for their shells to expand.
constexpr auto kPathsHere = std::to_array<std::string_view>({"captures", "file", "ssh"});

template <std::size_t Count>
bool isAmong(const std::array<std::string_view, Count>& names, std::string_view name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

// "NAME=DESTINATION", or one word that is both.
CollectHost hostNamed(const std::string& text) {
  if (text == kThisMachine) return {.server = repairedUTF8(hostName()), .destination = ""};
  const std::size_t equals = text.find('=');
  CollectHost host{.server = text.substr(0, equals),
                   .destination = equals == std::string::npos ? text : text.substr(equals + 1)};
  if (equals == std::string::npos) {
    // Who logs in, and by which way, is no part of the server's name.
    const std::size_t user = host.destination.rfind('@');
    if (user != std::string::npos) host.server = host.destination.substr(user + 1);
  }
  for (const std::string& part : {host.server, host.destination}) {
    const std::string problem = hostProblem(part);
    if (!problem.empty()) {
      throw std::runtime_error("no host: \"" + visibleText(text) + "\" " + problem);
    }
  }
  if (host.destination == kThisMachine) host.destination.clear();
  return host;
}

std::string notEmpty(const std::string& text) { return text.empty() ? "must not be empty" : ""; }

std::function<std::string(const std::string&)> countFrom1To(std::size_t most) {
  return [range = CLI::Range(std::size_t{1}, most), most](std::string text) {
    if (range(text).empty()) return std::string();
    return "must be a whole number from 1 to " + std::to_string(most) + ", not " + text;
  };
}

void addMebibytes(CLI::App& command, const std::string& name, std::size_t& bytes,
                  const std::string& what) {
  constexpr std::size_t kMost = 4096;
  command
      .add_option_function<std::size_t>(
          name,
          [&bytes](const std::size_t& count) { bytes = count * kMebibyte; },
          what)
      ->check(countFrom1To(kMost))
      ->type_name("MIB");
}

void addList(CLI::App& command, const std::string& name, std::vector<std::string>& list,
             const std::string& what, const std::string& type) {
  command.add_option(name, list, what)->type_name(type)->allow_extra_args(false)->check(notEmpty);
}

void addText(CLI::App& command, const std::string& name, std::optional<std::string>& text,
             const std::string& what, const std::string& type) {
  command.add_option(name, text, what)->type_name(type)->check(notEmpty);
}

[[noreturn]] void fail(const Setting& setting, const std::string& problem) {
  throw std::runtime_error("line " + std::to_string(setting.line) + ": " + problem);
}

// Null where this command has none.
CLI::Option* optionSetBy(CLI::App& command, const Setting& setting) {
  if (isAmong(kNoSettings, setting.name)) return nullptr;
  return command.get_option_no_throw(setting.name == "hosts" ? "HOST" : "--" + setting.name);
}

std::vector<std::string> settingsOf(const CLI::App& command) {
  std::vector<std::string> names = {"hosts"};
  names.insert(names.end(), kSettingsOfRefresh.begin(), kSettingsOfRefresh.end());
  for (const CLI::Option* const option : command.get_options()) {
    for (const std::string& name : option->get_lnames()) {
      if (!isAmong(kNoSettings, name)) names.push_back(name);
    }
  }
  return names;
}

// What a setting has to be, in words, or nothing where it is that. A single text may stand for a
// list of one.
std::string_view expectedInsteadOf(const Setting& setting, const CLI::Option& option) {
  const bool isText = setting.kind == Setting::Kind::text;
  if (option.get_items_expected_max() == 0) {
    return setting.kind == Setting::Kind::truth ? "" : "true or false";
  }
  if (option.get_items_expected_max() > 1) {
    return isText || setting.kind == Setting::Kind::list ? "" : "a list of texts";
  }
  if (isAmong(kCounts, setting.name)) {
    return setting.kind == Setting::Kind::number ? "" : "a whole number";
  }
  return isText ? "" : "a text in quotes";
}

// A shell would have put the home folder there before anybody read it.
std::string withHome(const std::string& path) {
  return path.starts_with("~/") ? (homeDirectory() / path.substr(2)).string() : path;
}

void set(CLI::Option& option, const Setting& setting) {
  const std::string_view expected = expectedInsteadOf(setting, option);
  if (!expected.empty()) fail(setting, setting.name + " must be " + std::string(expected));
  if (setting.values.empty()) return;
  try {
    std::vector<std::string> values = setting.values;
    if (isAmong(kPathsHere, setting.name)) {
      std::transform(values.begin(), values.end(), values.begin(), withHome);
    }
    option.add_result(values);
    option.run_callback();
  } catch (const CLI::Error& error) {
    fail(setting, error.what());
  }
}

}  // namespace

CollectRequest CollectOptions::resolved() const {
  CollectRequest resolved = request;
  const std::vector<std::string> here = {kThisMachine};
  std::set<std::string> names;
  for (const std::string& text : hosts.empty() ? here : hosts) {
    resolved.hosts.push_back(hostNamed(text));
    // As the folders of their captures are, so that none replaces another's.
    if (!names.insert(asFileName(resolved.hosts.back().server)).second) {
      throw std::runtime_error("two hosts are named " + visibleText(resolved.hosts.back().server) +
                               "; NAME=HOST gives one another name");
    }
  }
  return resolved;
}

void addCollectOptions(CLI::App& command, CollectOptions& options) {
  CollectRequest& request = options.request;
  command
      .add_option("HOST",
                  options.hosts,
                  "hosts as ssh knows them, or NAME=HOST to name the\n"
                  "server; . is this machine, as if left out")
      ->type_name("");
  addList(command,
          "--training-logs",
          request.script.trainingLogs,
          "training logs on the hosts, such as\n"
          "'/scratch/*/train.log'; may be repeated",
          "PATTERN");
  addList(command,
          "--recorder-logs",
          request.script.recorderLogs,
          "recorders' logs on the hosts; may be repeated",
          "PATTERN");
  addText(command,
          "--agent-folder",
          request.script.agentFolder,
          "folder on the hosts with the agent's reports",
          "FOLDER");
  addText(command,
          "--agent-command",
          request.script.agentCommand,
          "command on the hosts that prints them",
          "COMMAND");
  addList(command,
          "--disk",
          request.script.disks,
          "folder on the hosts whose free space counts (/);\n"
          "may be repeated",
          "FOLDER");
  addText(command,
          "--captures",
          options.captures,
          "keep what the hosts printed, a folder for each",
          "FOLDER");
  addRedactOption(command, options.redact);
  command.add_option("--at-once", request.atOnce, "hosts to ask at the same time (32)")
      ->check(countFrom1To(1024))
      ->type_name("N");
  addSpanOption(command, "--timeout", "that one host may take (30s)", [&request](double seconds) {
    request.seconds = seconds;
  });
  addSpanOption(command,
                "--command-timeout",
                "that one command on a host may take (10s)",
                [&request](double seconds) {
                  request.script.commandSeconds =
                      static_cast<int>(std::clamp(seconds, 1.0, 3600.0));
                });
  addMebibytes(command,
               "--most-per-file",
               request.mostBytesOfPiece,
               "MiB to keep of what one command printed (16)");
  addMebibytes(command, "--most-per-host", request.mostBytesOfHost, "MiB to keep of one host (64)");
  command.add_option("--ssh", request.ssh, "the program to reach hosts by (ssh)")
      ->type_name("PROGRAM");
  command.add_flag("--findings", options.findings, "tell what was lost and why, on standard error");
  addText(command,
          "--config",
          options.config,
          "file with hosts and options\n"
          "(~/.config/tavrine/config.toml)",
          "FILE");
}

std::filesystem::path defaultConfigFile() {
  const char* const folder = std::getenv("XDG_CONFIG_HOME");
  const bool isSet = folder != nullptr && *folder == '/';  // a relative one does not count
  const std::filesystem::path base =
      isSet ? std::filesystem::path(folder) : homeDirectory() / ".config";
  return base / "tavrine" / "config.toml";
}

void applyConfig(CLI::App& command, const CollectOptions& options) {
  const std::filesystem::path file =
      options.config ? std::filesystem::path(*options.config) : defaultConfigFile();
  std::error_code lookup;  // then reading says why
  if (!options.config && !std::filesystem::exists(file, lookup) && !lookup) return;
  const FileBytes content = readFile(file);
  try {
    for (const Setting& setting : settingsIn(content.text())) {
      CLI::Option* const option = optionSetBy(command, setting);
      const bool isOfRefresh = isAmong(kSettingsOfRefresh, setting.name);
      if (option == nullptr && !isOfRefresh) {
        fail(setting,
             "there is no setting " + visibleText(setting.name) +
                 didYouMean(setting.name, settingsOf(command)));
      }
      // What the command line says wins.
      if (option != nullptr && option->empty()) set(*option, setting);
    }
  } catch (const std::runtime_error& error) {
    throw std::runtime_error(file.string() + ", " + error.what());
  }
}

}  // namespace tavrine
