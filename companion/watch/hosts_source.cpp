#include "companion/watch/hosts_source.h"

#include "companion/shell/private_folder.h"
#include "companion/watch/file_source.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <filesystem>
#include <initializer_list>
#include <memory>
#include <system_error>

namespace tavrine {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void throwUnstarted() {
  throw std::system_error(errno, std::generic_category(), "cannot ask hosts");
}

// What the screen needs of the terminal is ours alone: the child neither reads nor writes there.
[[noreturn]] void becomeRefresh(const std::vector<std::string>& command) {
  ::prctl(PR_SET_PDEATHSIG, SIGTERM);
  const int nowhere = ::open("/dev/null", O_RDWR);
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    ::dup2(nowhere, descriptor);
  }
  std::vector<char*> arguments;
  for (const std::string& word : command) {
    arguments.push_back(const_cast<char*>(word.c_str()));  // NOLINT: it is not written to
  }
  arguments.push_back(nullptr);
  ::execv("/proc/self/exe", arguments.data());
  ::_exit(2);
}

class RefreshChild {
 public:
  explicit RefreshChild(const std::vector<std::string>& command) : pid_(::fork()) {
    if (pid_ < 0) throwUnstarted();
    if (pid_ == 0) becomeRefresh(command);
  }
  RefreshChild(const RefreshChild&) = delete;
  RefreshChild& operator=(const RefreshChild&) = delete;
  ~RefreshChild() {
    if (pid_ <= 0) return;
    ::kill(pid_, SIGTERM);
    ::waitpid(pid_, nullptr, 0);
  }

  // True once, when it has ended although it should go on for ever.
  bool hasJustEnded() {
    if (pid_ <= 0 || ::waitpid(pid_, nullptr, WNOHANG) == 0) return false;
    pid_ = 0;
    return true;
  }

 private:
  pid_t pid_;
};

struct Hosts {
  PrivateFolder folder{fs::temp_directory_path(), "tavrine-watch-"};
  std::unique_ptr<RefreshChild> child;
  SnapshotSource file;
};

std::string nameOf(const std::vector<std::string>& hosts) {
  if (hosts.empty()) return "hosts";
  const std::string& name = hosts.front();
  return hosts.size() == 1 ? name : name + " and " + std::to_string(hosts.size() - 1) + " more";
}

}  // namespace

SnapshotSource hostsSource(const std::vector<std::string>& hosts, double everySeconds) {
  const auto asked = std::make_shared<Hosts>();
  const fs::path file = asked->folder.path() / "latest.json";
  std::vector<std::string> command = {
      "tavrine",
      "refresh",
      "--every=" + std::to_string(std::max(1L, std::lround(everySeconds))) + "s",
      "--file=" + file.string(),
      "--"};
  command.insert(command.end(), hosts.begin(), hosts.end());
  asked->child = std::make_unique<RefreshChild>(command);
  asked->file = fileSource(file);
  constexpr double kMissed = 3;  // times that nothing came
  const double staleAfterSeconds = kMissed * everySeconds;
  return {.name = nameOf(hosts),
          .poll = [asked, file](Timestamp now) -> std::optional<SourceNews> {
            if (asked->child->hasJustEnded()) {
              return SourceNews{{}, "'tavrine refresh' has ended; run by itself it says why"};
            }
            // Until the first answer there is nothing to complain of.
            if (!fs::exists(file)) return std::nullopt;
            return asked->file.poll(now);
          },
          .staleAfterSeconds = staleAfterSeconds};
}

}  // namespace tavrine
