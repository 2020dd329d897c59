#include "companion/shell/output.h"

#include "companion/views/visible_text.h"

#include <TavrineShared/foundation/unicode_text.h>

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

namespace tavrine {

namespace {

[[noreturn]] void throwUnwritable() {
  throw std::system_error(errno, std::generic_category(), "cannot write to standard output");
}

// False when not all could be written; errno says why. Whoever started us may have left a
// non-blocking descriptor behind.
bool writeAll(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t put = ::write(descriptor, text.data(), text.size());
    if (put >= 0) {
      text.remove_prefix(static_cast<std::size_t>(put));
    } else if (errno == EAGAIN) {
      pollfd waiting{.fd = descriptor, .events = POLLOUT, .revents = 0};
      ::poll(&waiting, 1, -1);
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

std::string_view environment(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? std::string_view() : value;
}

}  // namespace

void writeOutput(std::string_view text) {
  if (!writeAll(STDOUT_FILENO, text)) throwUnwritable();
}

void closeOutput() {
  // A verb that had nothing to write may have been started without a standard output.
  if (::close(STDOUT_FILENO) != 0 && errno != EBADF) throwUnwritable();
}

void writeWords(std::string_view words) { static_cast<void>(writeAll(STDERR_FILENO, words)); }

void say(std::string_view message) { writeWords("tavrine: " + visibleText(message) + "\n"); }

void say(const std::exception& error) {
  const auto* const ofFile = dynamic_cast<const std::filesystem::filesystem_error*>(&error);
  if (ofFile == nullptr) return say(std::string_view(error.what()));
  // As the standard library has it: "filesystem error: WHAT [PATH]".
  constexpr std::string_view kPrefix = "filesystem error: ";
  const std::string& path = ofFile->path1().native();
  std::string_view what = error.what();
  if (what.starts_with(kPrefix)) what.remove_prefix(kPrefix.size());
  what = what.substr(0, what.rfind(" [" + path + "]"));
  say(path + ": " + std::string(what));
}

bool outputIsTerminal() { return ::isatty(STDOUT_FILENO) == 1; }

std::optional<std::size_t> screenWidth() {
  winsize size{};
  if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return std::nullopt;
  return size.ws_col;
}

Paint paint(ColorChoice choice) {
  if (choice != ColorChoice::automatic) {
    return choice == ColorChoice::always ? Paint::on : Paint::off;
  }
  const bool isWanted =
      outputIsTerminal() && environment("TERM") != "dumb" && environment("NO_COLOR").empty();
  return isWanted ? Paint::on : Paint::off;
}

TableStyle tableStyle(ColorChoice choice) {
  return {.paint = paint(choice), .width = screenWidth().value_or(TableStyle{}.width)};
}

Glyphs glyphs() {
  // As for the C library, the first that is set and not empty counts.
  for (const char* const name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    const std::string locale = lowercased(environment(name));
    if (locale.empty()) continue;
    const bool isUTF8 =
        locale.find("utf-8") != std::string::npos || locale.find("utf8") != std::string::npos;
    return isUTF8 ? Glyphs::blocks : Glyphs::ascii;
  }
  return Glyphs::ascii;
}

}  // namespace tavrine
