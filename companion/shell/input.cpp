#include "companion/shell/input.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <system_error>

namespace tavrine {

namespace {

constexpr std::size_t kLeastRead = std::size_t{64} * 1024;

[[noreturn]] void throwUnreadable(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), "cannot read " + what);
}

// The size that a regular file has now; 0 where nobody knows how much will come.
std::size_t expectedSize(int descriptor) {
  struct stat status {};
  if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) return 0;
  return static_cast<std::size_t>(std::max<off_t>(status.st_size, 0));
}

// One read, however often it has to be tried. Whoever started us may have left a non-blocking
// standard input behind.
std::size_t readSome(int descriptor, char* to, std::size_t count, const std::string& what) {
  while (true) {
    const ssize_t got = ::read(descriptor, to, count);
    if (got >= 0) return static_cast<std::size_t>(got);
    if (errno == EAGAIN) {
      pollfd waiting{.fd = descriptor, .events = POLLIN, .revents = 0};
      ::poll(&waiting, 1, -1);
    } else if (errno != EINTR) {
      throwUnreadable(what);
    }
  }
}

std::string readAll(int descriptor, const std::string& what) {
  std::string text;
  std::size_t length = 0;
  // One byte more than expected, so that the read that meets the end needs no more room.
  text.resize(std::max(expectedSize(descriptor) + 1, kLeastRead));
  while (true) {
    const std::size_t got = readSome(descriptor, text.data() + length, text.size() - length, what);
    if (got == 0) break;
    length += got;
    if (text.size() == length) text.resize(length * 2);
  }
  text.resize(length);
  return text;
}

class OpenFile {
 public:
  explicit OpenFile(const std::string& file)
      : descriptor_(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY)) {
    if (descriptor_ < 0) throwUnreadable(file);
  }
  ~OpenFile() { ::close(descriptor_); }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  int descriptor() const { return descriptor_; }

 private:
  int descriptor_;
};

}  // namespace

std::string readInput(const std::string& file) {
  if (file == kStandardInput) return readAll(STDIN_FILENO, inputName(file));
  return readAll(OpenFile(file).descriptor(), file);
}

std::string inputName(const std::string& file) {
  return file == kStandardInput ? "standard input" : file;
}

bool inputIsTerminal() { return ::isatty(STDIN_FILENO) == 1; }

}  // namespace tavrine
