#include "companion/shell/child_processes.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <list>
#include <optional>
#include <utility>

extern char** environ;  // NOLINT(readability-redundant-declaration): not every libc declares it

namespace tavrine {

namespace {

using Clock = std::chrono::steady_clock;
using Way = ChildEnd::Way;

constexpr std::size_t kWordsKept = 4096;

// A descriptor that is closed once.
class Descriptor {
 public:
  explicit Descriptor(int number = -1) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    close();
    number_ = std::exchange(other.number_, -1);
    return *this;
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() { close(); }

  int get() const { return number_; }
  bool isOpen() const { return number_ >= 0; }
  void close() {
    if (isOpen()) ::close(number_);
    number_ = -1;
  }

 private:
  int number_;
};

struct Pipe {
  Descriptor reading;
  Descriptor writing;

  Pipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) return;
    reading = Descriptor(ends[0]);
    writing = Descriptor(ends[1]);
  }
  bool isOpen() const { return reading.isOpen() && writing.isOpen(); }
};

void makeNonBlocking(const Descriptor& descriptor) {
  ::fcntl(descriptor.get(), F_SETFL, ::fcntl(descriptor.get(), F_GETFL) | O_NONBLOCK);
}

// Starts a program in a group of its own, so that all of it can be killed. Gives an error number.
int spawn(const std::vector<std::string>& command, int input, int output, int words, pid_t& pid) {
  std::vector<char*> arguments;
  for (const std::string& word : command) {
    arguments.push_back(const_cast<char*>(word.c_str()));  // NOLINT: it is not written to
  }
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, words, STDERR_FILENO);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t ordinary;
  sigemptyset(&ordinary);
  sigaddset(&ordinary, SIGPIPE);
  sigaddset(&ordinary, SIGXFSZ);
  posix_spawnattr_setsigdefault(&attributes, &ordinary);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF);
  const int error =
      ::posix_spawnp(&pid, arguments.front(), &actions, &attributes, arguments.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  return error;
}

class Child {
 public:
  explicit Child(const ChildTask& task) : task_(task), started_(Clock::now()) { start(); }

  // What to wait for; a descriptor of -1 is passed over by poll.
  std::array<pollfd, 3> wanted() const {
    return {{{input_.get(), POLLOUT, 0}, {output_.get(), POLLIN, 0}, {words_.get(), POLLIN, 0}}};
  }

  void handle(const std::array<pollfd, 3>& ready) {
    if (ready[0].revents != 0) write();
    if (ready[1].revents != 0) readOutput();
    if (ready[2].revents != 0) readWords();
  }

  // It could not be started for want of descriptors or processes. Others that end give theirs back.
  bool isWantingRoom() const {
    return startError_ == EMFILE || startError_ == ENFILE || startError_ == EAGAIN;
  }

  // True when it is over, and its end has been told.
  bool finish(bool mustStop) {
    if (pid_ > 0 && !reap()) {
      if (!way_ && mustStop) kill(Way::stopped);
      if (!way_ && secondsTaken() > task_.seconds) kill(Way::tooLate);
      return false;
    }
    tellEnd();
    return true;
  }

 private:
  // False while it runs.
  bool reap() {
    if (::waitpid(pid_, &exit_, WNOHANG) == 0) return false;
    pid_ = 0;
    // What is there is read, but not waited for: others that it started may hold the pipes open,
    // and fill them, for as long as they like.
    constexpr int kReadsOfAFullPipe = 16;
    for (int i = 0; i < kReadsOfAFullPipe && output_.isOpen() && readOutput(); ++i) {
    }
    for (int i = 0; i < kReadsOfAFullPipe && words_.isOpen() && readWords(); ++i) {
    }
    return true;
  }

  void start() {
    Pipe input;
    Pipe output;
    Pipe words;
    startError_ = EMFILE;
    if (input.isOpen() && output.isOpen() && words.isOpen()) {
      startError_ = spawn(task_.command,
                          input.reading.get(),
                          output.writing.get(),
                          words.writing.get(),
                          pid_);
    }
    if (startError_ != 0) {
      pid_ = 0;
      way_ = Way::notStarted;
      said_ = std::strerror(startError_);  // NOLINT(concurrency-mt-unsafe): no thread but this one
      return;
    }
    input_ = std::move(input.writing);
    output_ = std::move(output.reading);
    words_ = std::move(words.reading);
    for (const Descriptor* const each : {&input_, &output_, &words_}) makeNonBlocking(*each);
    if (task_.input.empty()) input_.close();
  }

  void write() {
    const std::string_view rest = std::string_view(task_.input).substr(written_);
    const ssize_t put = ::write(input_.get(), rest.data(), rest.size());
    if (put > 0) written_ += static_cast<std::size_t>(put);
    const bool hasFailed = put < 0 && errno != EAGAIN && errno != EINTR;
    if (hasFailed || written_ == task_.input.size()) input_.close();
  }

  // False when there is nothing more for now.
  bool readOutput() {
    std::array<char, 65536> buffer;  // NOLINT: filled by read
    const ssize_t got = ::read(output_.get(), buffer.data(), buffer.size());
    if (got < 0 && (errno == EAGAIN || errno == EINTR)) return false;
    if (got <= 0) {
      output_.close();
      return false;
    }
    const auto count = static_cast<std::size_t>(got);
    received_ += count;
    if (received_ > task_.mostBytes) {
      kill(Way::tooMuch);
      return false;
    }
    task_.onOutput({buffer.data(), count});
    return true;
  }

  bool readWords() {
    std::array<char, 4096> buffer;  // NOLINT: filled by read
    const ssize_t got = ::read(words_.get(), buffer.data(), buffer.size());
    if (got < 0 && (errno == EAGAIN || errno == EINTR)) return false;
    if (got <= 0) {
      words_.close();
      return false;
    }
    said_.append(buffer.data(), static_cast<std::size_t>(got));
    if (said_.size() > kWordsKept) said_.erase(0, said_.size() - kWordsKept);
    return true;
  }

  void kill(Way way) {
    way_ = way;
    if (pid_ > 0) ::kill(-pid_, SIGKILL);
    input_.close();
    output_.close();
  }

  double secondsTaken() const {
    return std::chrono::duration<double>(Clock::now() - started_).count();
  }

  void tellEnd() {
    ChildEnd end{};
    end.words = std::move(said_);
    end.seconds = secondsTaken();
    end.way = way_.value_or(WIFSIGNALED(exit_) ? Way::signalled : Way::exited);
    end.status = WIFSIGNALED(exit_) ? WTERMSIG(exit_) : WEXITSTATUS(exit_);
    task_.onEnd(end);
  }

  const ChildTask& task_;
  Clock::time_point started_;
  pid_t pid_ = 0;
  int startError_ = 0;
  Descriptor input_;
  Descriptor output_;
  Descriptor words_;
  std::size_t written_ = 0;
  std::size_t received_ = 0;
  std::string said_;
  std::optional<Way> way_;  // unless it ended by itself
  int exit_ = 0;
};

// A child that stops reading must not end us.
class WithoutPipeSignal {
 public:
  WithoutPipeSignal() {
    struct sigaction ignoring {};
    ignoring.sa_handler = SIG_IGN;
    ::sigaction(SIGPIPE, &ignoring, &before_);
  }
  WithoutPipeSignal(const WithoutPipeSignal&) = delete;
  WithoutPipeSignal& operator=(const WithoutPipeSignal&) = delete;
  ~WithoutPipeSignal() { ::sigaction(SIGPIPE, &before_, nullptr); }

 private:
  struct sigaction before_ {};
};

void waitForAny(std::list<Child>& children) {
  // Short, since the end of a child and a deadline do not wake poll.
  constexpr int kMilliseconds = 20;
  std::vector<pollfd> wanted;
  for (const Child& child : children) {
    for (const pollfd& each : child.wanted()) wanted.push_back(each);
  }
  if (::poll(wanted.data(), wanted.size(), kMilliseconds) <= 0) return;
  std::size_t next = 0;
  for (Child& child : children) {
    child.handle({wanted[next], wanted[next + 1], wanted[next + 2]});
    next += 3;
  }
}

}  // namespace

void runChildren(const std::vector<ChildTask>& tasks, std::size_t atOnce,
                 const std::function<bool()>& mustStop) {
  const WithoutPipeSignal guard;
  std::list<Child> children;
  auto next = tasks.begin();
  while (next != tasks.end() || !children.empty()) {
    const bool isStopping = mustStop();
    if (isStopping) {
      for (; next != tasks.end(); ++next) next->onEnd({Way::stopped, 0, "", 0});
    }
    while (next != tasks.end() && children.size() < std::max<std::size_t>(atOnce, 1)) {
      children.emplace_back(*next);
      if (children.size() > 1 && children.back().isWantingRoom()) {
        children.pop_back();
        break;
      }
      ++next;
    }
    waitForAny(children);
    children.remove_if([isStopping](Child& child) { return child.finish(isStopping); });
  }
}

}  // namespace tavrine
