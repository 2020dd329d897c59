#include <TavrineShared/foundation/file.h>

#include <TavrineShared/foundation/ascii.h>

#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <optional>
#include <random>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace tavrine {

namespace fs = std::filesystem;

namespace {

[[noreturn]] void throwError(const char* what, const fs::path& path, int error) {
  throw fs::filesystem_error(what, path, std::error_code(error, std::generic_category()));
}

class Descriptor {
 public:
  explicit Descriptor(int value = -1) : value_(value) {}
  Descriptor(Descriptor&& other) noexcept : value_(std::exchange(other.value_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(value_, other.value_);
    return *this;
  }
  ~Descriptor() {
    if (isOpen()) ::close(value_);
  }

  bool isOpen() const { return value_ >= 0; }
  int get() const { return value_; }

 private:
  int value_;
};

// --- Reading ---

constexpr const char* kCannotRead = "cannot read";

std::size_t readSome(const Descriptor& file, char* to, std::size_t count, const fs::path& path) {
  while (true) {
    const ssize_t got = ::read(file.get(), to, count);
    if (got >= 0) return static_cast<std::size_t>(got);
    if (errno != EINTR) throwError(kCannotRead, path, errno);
  }
}

// --- Replacing ---

constexpr const char* kCannotWrite = "cannot write";

// The temporary file has a name that says nothing of its target, whose own name may be as long as
// names can be. It is locked as long as its writer lives, which tells those left by the dead.
constexpr std::string_view kTemporaryPrefix = ".tavrine-";
constexpr std::string_view kTemporarySuffix = ".tmp";
constexpr std::size_t kTemporaryDigits = 16;

std::string newTemporaryName() {
  std::random_device random;
  std::string name(kTemporaryPrefix);
  for (std::size_t i = 0; i < kTemporaryDigits; ++i) name += ascii::kHexDigits[random() & 0xFU];
  return name.append(kTemporarySuffix);
}

bool isTemporaryName(std::string_view name) {
  return name.size() == kTemporaryPrefix.size() + kTemporaryDigits + kTemporarySuffix.size() &&
         name.starts_with(kTemporaryPrefix) && name.ends_with(kTemporarySuffix) &&
         name.find_first_not_of(ascii::kHexDigits, kTemporaryPrefix.size()) ==
             name.size() - kTemporarySuffix.size();
}

bool locks(const Descriptor& file) { return ::flock(file.get(), LOCK_EX | LOCK_NB) == 0; }

bool isStillThere(const Descriptor& file) {
  struct stat status {};
  return ::fstat(file.get(), &status) == 0 && status.st_nlink > 0;
}

bool isRegular(const Descriptor& file) {
  struct stat status {};
  return ::fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode);
}

// Nothing depends on it, so whatever fails is left for the next time.
void removeTemporariesOfTheDead(const fs::path& folder) {
  std::error_code ignored;
  for (fs::directory_iterator entry(folder, ignored), end; entry != end; entry.increment(ignored)) {
    const fs::path& path = entry->path();
    if (!isTemporaryName(path.filename().native())) continue;
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (file.isOpen() && isRegular(file) && locks(file)) ::unlink(path.c_str());
  }
}

// What is no file would be gone: /dev/null, say, for everybody.
void requireNoDevice(const fs::path& path) {
  std::error_code unknown;
  switch (fs::symlink_status(path, unknown).type()) {
    case fs::file_type::block:
    case fs::file_type::character:
    case fs::file_type::fifo:
    case fs::file_type::socket:
      throwError("cannot replace, not a regular file", path, EINVAL);
    default:
      return;
  }
}

// Of a file that is there, also behind a link: whoever made it private wants what takes its place
// to be.
std::optional<mode_t> permissionsOf(const fs::path& path) {
  constexpr mode_t kPermissions = 0777;
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) return std::nullopt;
  return status.st_mode & kPermissions;
}

// A new file beside the target, gone again unless it takes the target's place.
class Temporary {
 public:
  explicit Temporary(const fs::path& target)
      : target_(target), permissions_(permissionsOf(target)) {
    const fs::path folder = target.parent_path();
    removeTemporariesOfTheDead(folder.empty() ? "." : folder);
    // Before it is locked, another writer may take it for one of the dead's and remove it. That
    // cannot go on for long; but a file system without locks or link counts would look like it.
    constexpr int kTries = 16;
    for (int tries = 0; tries < kTries && !create(folder / newTemporaryName()); ++tries) {
    }
    if (!file_.isOpen()) throwError(kCannotWrite, target_, EEXIST);
  }
  ~Temporary() { remove(); }
  Temporary(const Temporary&) = delete;
  Temporary& operator=(const Temporary&) = delete;

  void write(std::string_view bytes) {
    while (!bytes.empty()) {
      const ssize_t put = ::write(file_.get(), bytes.data(), bytes.size());
      if (put >= 0) {
        bytes.remove_prefix(static_cast<std::size_t>(put));
      } else if (errno != EINTR) {
        throwError(kCannotWrite, target_, errno);
      }
    }
  }

  void takeThePlace() {
    // Otherwise a loss of power could leave the new name with nothing behind it.
    if (::fsync(file_.get()) != 0) throwError(kCannotWrite, target_, errno);
    if (permissions_ && ::fchmod(file_.get(), *permissions_) != 0) {
      throwError(kCannotWrite, target_, errno);
    }
    if (::rename(path_.c_str(), target_.c_str()) != 0) throwError(kCannotWrite, target_, errno);
    path_.clear();
  }

 private:
  // Whether it is sure to stay.
  bool create(const fs::path& path) {
    remove();
    const mode_t permissions = permissions_ ? 0600 : 0666;
    file_ = Descriptor(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, permissions));
    if (!file_.isOpen()) {
      if (errno == EEXIST) return false;
      throwError(kCannotWrite, target_, errno);
    }
    path_ = path;
    return locks(file_) && isStillThere(file_);
  }

  void remove() {
    if (!path_.empty()) ::unlink(path_.c_str());
    path_.clear();
  }

  const fs::path& target_;
  std::optional<mode_t> permissions_;  // those of any new file where there are none
  fs::path path_;                      // empty while there is nothing to remove
  Descriptor file_;
};

// The names in a folder outlive a loss of power only once they are synced. By now the new file
// stands in its place, and not every file system can do this: so a failure is none of the write.
void syncFolder(const fs::path& folder) {
  const Descriptor file(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (file.isOpen()) static_cast<void>(::fsync(file.get()));
}

}  // namespace

void requireFileName(const fs::path& path) {
  // What the system calls take ends at a NUL, and would name another file.
  if (path.native().find('\0') != std::string::npos) throwError("not a file name", path, EINVAL);
  if (!path.has_filename()) throwError("not a file name", path, EISDIR);
}

FileBytes readFile(const fs::path& path) {
  // Without O_NONBLOCK, opening a FIFO would wait for somebody to write into it.
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
  struct stat status {};
  if (!file.isOpen() || ::fstat(file.get(), &status) != 0) throwError(kCannotRead, path, errno);
  if (S_ISDIR(status.st_mode)) throwError(kCannotRead, path, EISDIR);
  if (!S_ISREG(status.st_mode)) throwError("cannot read, not a regular file", path, EINVAL);

  // One byte more than expected, so that the read that meets the end needs no more room. A file may
  // grow meanwhile, and those of /proc do not know their size.
  constexpr std::size_t kLeastCapacity = 4096;
  std::size_t capacity = std::max(static_cast<std::size_t>(status.st_size) + 1, kLeastCapacity);
  FileBytes::Bytes bytes(new char[capacity]);  // not zeroed, as make_unique would have it
  std::size_t size = 0;
  while (const std::size_t got = readSome(file, &bytes[size], capacity - size, path)) {
    size += got;
    if (size < capacity) continue;
    FileBytes::Bytes more(new char[capacity * 2]);
    std::copy_n(bytes.get(), size, more.get());
    bytes = std::move(more);
    capacity *= 2;
  }
  return {std::move(bytes), size};
}

void replaceFile(const fs::path& path, std::string_view bytes) {
  replaceFileWith(path, [bytes](const FileSink& file) { file(bytes); });
}

void replaceFileWith(const fs::path& path, const std::function<void(const FileSink&)>& produce) {
  requireFileName(path);
  requireNoDevice(path);
  Temporary temporary(path);
  produce([&temporary](std::string_view bytes) { temporary.write(bytes); });
  temporary.takeThePlace();
  syncFolder(path.has_parent_path() ? path.parent_path() : ".");
}

fs::path homeDirectory() {
  const char* const home = std::getenv("HOME");
  if (home != nullptr && *home != '\0') return home;
  constexpr std::size_t kMostBytes = std::size_t{1} << 20;
  std::vector<char> buffer(1024);
  passwd entry{};
  passwd* found = nullptr;
  int error = 0;
  while ((error = ::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found)) ==
             ERANGE &&
         buffer.size() < kMostBytes) {
    buffer.resize(buffer.size() * 2);
  }
  if (found == nullptr) {
    throwError("cannot tell the home directory", {}, error != 0 ? error : ENOENT);
  }
  return found->pw_dir;
}

}  // namespace tavrine
