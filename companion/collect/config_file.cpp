#include "companion/collect/config_file.h"

#include <toml++/toml.h>

#include <algorithm>
#include <stdexcept>

namespace tavrine {

namespace {

[[noreturn]] void fail(std::size_t line, const std::string& problem) {
  throw std::runtime_error("line " + std::to_string(line) + ": " + problem);
}

std::size_t lineOf(const toml::node& node) { return node.source().begin.line; }

std::vector<std::string> textsIn(const std::string& name, const toml::array& list) {
  std::vector<std::string> texts;
  for (const toml::node& element : list) {
    if (!element.is_string()) fail(lineOf(element), name + " is a list of texts in quotes");
    texts.push_back(element.as_string()->get());
  }
  return texts;
}

Setting settingOf(const std::string& name, const toml::node& node) {
  using Kind = Setting::Kind;
  const std::size_t line = lineOf(node);
  switch (node.type()) {
    case toml::node_type::string:
      return {name, Kind::text, {node.as_string()->get()}, line};
    case toml::node_type::integer:
      return {name, Kind::number, {std::to_string(node.as_integer()->get())}, line};
    case toml::node_type::boolean:
      return {name, Kind::truth, {node.as_boolean()->get() ? "true" : "false"}, line};
    case toml::node_type::array:
      return {name, Kind::list, textsIn(name, *node.as_array()), line};
    case toml::node_type::table:
      fail(line, "there are no sections, such as " + name);
    default:
      fail(line, name + " cannot be a fraction or a date; a text stands in quotes");
  }
}

}  // namespace

std::vector<Setting> settingsIn(std::string_view toml) {
  toml::table table;
  try {
    table = toml::parse(toml);
  } catch (const toml::parse_error& error) {
    fail(error.source().begin.line, std::string(error.description()));
  }
  std::vector<Setting> settings;
  for (const auto& [name, node] : table) {
    settings.push_back(settingOf(std::string(name.str()), node));
  }
  std::stable_sort(settings.begin(), settings.end(), [](const Setting& a, const Setting& b) {
    return a.line < b.line;
  });
  return settings;
}

}  // namespace tavrine
