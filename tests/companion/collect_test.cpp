#include "companion/collect/collect.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include "tests/support/temporary_folder.h"

namespace tavrine {
namespace {

using testing::IsEmpty;

// A program in the place of ssh.
class Collect : public testing::Test {
 protected:
  CollectRequest request(std::string_view stub, const std::vector<std::string>& hosts) {
    const auto file = folder_.file("stub", "#!/bin/sh\n" + std::string(stub) + "\n");
    std::filesystem::permissions(file, std::filesystem::perms::owner_all);
    CollectRequest request;
    for (const std::string& host : hosts) request.hosts.push_back({host, host});
    request.ssh = file.string();
    request.seconds = 10;
    return request;
  }

  static std::vector<Capture> run(const CollectRequest& request) {
    std::size_t told = 0;
    std::vector<Capture> captures = collect(
        request,
        [&told](std::size_t ended) { EXPECT_EQ(ended, ++told); },
        [] { return false; });
    EXPECT_EQ(told, request.hosts.size());
    return captures;
  }

  std::string problem(std::string_view stub, double seconds = 10) {
    CollectRequest asked = request(stub, {"gpu-01"});
    asked.seconds = seconds;
    const std::vector<Capture> captures = run(asked);
    return captures.front().info.problem.value_or("none");
  }

  TemporaryFolder folder_;
};

// Says at once that all is done.
constexpr const char* kDone = R"sh(word=$(head -n 1 | cut -d = -f 2); cat >/dev/null
printf '%s begin load\n0.5\n%s end load 0\n' $word $word
printf '%s begin done\n\n%s end done 0\n' $word $word)sh";

TEST_F(Collect, asksEachHostInOrder) {
  const std::vector<Capture> captures = run(request(kDone, {"b", "a", "c"}));
  ASSERT_EQ(captures.size(), 3U);
  EXPECT_EQ(captures[0].info.server, "b");
  EXPECT_EQ(captures[1].info.host, "a");
  EXPECT_EQ(captures[2].info.problem, std::nullopt);
  EXPECT_EQ(*captures[2].text("loadavg.txt"), "0.5");
}

TEST_F(Collect, handsTheHostOverAsAHost) {
  CollectRequest asked = request("printf '%s\\n' \"$@\" >" + (folder_ / "said").string(), {"h"});
  asked.hosts[0].destination = "ada@$(x)";
  run(asked);
  EXPECT_EQ(contentOf(folder_ / "said"),
            "-T\n-o\nBatchMode=yes\n-o\nConnectTimeout=5\n--\nada@$(x)\nsh -s\n");
  asked.seconds = 1e300;
  run(request("exit 255", {"h"}));
}

TEST_F(Collect, saysWhatWentWrong) {
  EXPECT_EQ(problem(kDone), "none");
  EXPECT_EQ(problem("echo 'ssh: no route' >&2; exit 255"),
            "no answer, but status 255: ssh: no route");
  EXPECT_EQ(problem("exit 0"), "no answer, but status 0");
  EXPECT_EQ(problem("kill -9 $$"), "ended by signal 9");
  EXPECT_EQ(problem("sleep 60", 0.2), "no answer within 0.2 s");
  EXPECT_EQ(problem("printf 'a\\nb\\n\\377\\n\\n' >&2; exit 1"),
            "no answer, but status 1: \xEF\xBF\xBD");
  EXPECT_EQ(problem("head -c 100000 /dev/zero | tr '\\0' x >&2; exit 1"),
            "no answer, but status 1: " + std::string(300, 'x') + "\u2026");
}

TEST_F(Collect, asksAHostThatHoldsTheConnectionOpen) {
  EXPECT_EQ(problem(std::string(kDone) + "; sleep 60", 0.5), "none");
}

TEST_F(Collect, saysThatTheProgramIsNotThere) {
  CollectRequest asked = request("", {"h"});
  asked.ssh = (folder_ / "none").string();
  EXPECT_EQ(run(asked).front().info.problem,
            "cannot be asked: " + asked.ssh + ": " + std::string(std::strerror(ENOENT)));
}

TEST_F(Collect, endsAHostThatBabbles) {
  CollectRequest asked = request("yes", {"h"});
  asked.mostBytesOfHost = 1 << 20;
  const std::vector<Capture> captures = run(asked);
  EXPECT_EQ(captures.front().info.problem, "it printed more than it may");
  EXPECT_THAT(captures.front().texts, IsEmpty());
}

TEST_F(Collect, keepsNoMoreOfAHostThanAllowed) {
  CollectRequest asked = request(R"sh(word=$(head -n 1 | cut -d = -f 2); cat >/dev/null
printf '%s begin load\n' $word; head -c 1500000 /dev/zero; printf '\n%s end load 0\n' $word
printf '%s begin done\n\n%s end done 0\n' $word $word)sh",
                                 {"h"});
  asked.mostBytesOfPiece = 1 << 20;
  asked.mostBytesOfHost = 2 << 20;
  const std::vector<Capture> captures = run(asked);
  EXPECT_EQ(captures.front().text("loadavg.txt")->size(), std::size_t{1} << 20);
  EXPECT_EQ(captures.front().result("load")->cutBytes, 1500000 - (1 << 20));
}

TEST_F(Collect, stopsWhenToldTo) {
  std::size_t ended = 0;
  const std::vector<Capture> captures = collect(
      request("sleep 60", {"a", "b"}),
      [&ended](std::size_t count) { ended = count; },
      [] { return true; });
  EXPECT_EQ(ended, 2U);
  EXPECT_EQ(captures.front().info.problem, "interrupted");
}

}  // namespace
}  // namespace tavrine
