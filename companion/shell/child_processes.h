// Many child processes at once, each with a deadline and a limit to what it may print.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace tavrine {

/// How a child came to its end.
struct ChildEnd {
  enum class Way : std::uint8_t {
    exited,      ///< with `status`
    signalled,   ///< by signal `status`
    tooLate,     ///< killed at its deadline
    tooMuch,     ///< killed for printing more than it may
    notStarted,  ///< `words` say why
    stopped,     ///< killed since all were told to stop
  };
  Way way;
  int status;
  std::string words;  ///< the end of what it said on standard error
  double seconds;     ///< that it took
};

struct ChildTask {
  std::vector<std::string> command;  ///< found along PATH
  std::string input;                 ///< for its standard input
  double seconds;                    ///< until its deadline
  std::size_t mostBytes;             ///< that it may print
  std::function<void(std::string_view)> onOutput;
  std::function<void(const ChildEnd&)> onEnd;
};

/// Runs all tasks, at most `atOnce` at a time, in their order, and returns when the last has ended.
/// A child that is killed takes its children with it. `mustStop` is asked now and then; once it
/// says yes, children are killed and no more are started. Nothing here throws but what the tasks
/// do.
void runChildren(const std::vector<ChildTask>& tasks, std::size_t atOnce,
                 const std::function<bool()>& mustStop);

}  // namespace tavrine
