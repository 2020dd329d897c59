#include "benchmarks/large_lab.h"

#include <TavrineShared/model/stable_id.h>

#include <chrono>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <utility>

namespace tavrine::benchmarks {

namespace {

constexpr std::size_t kServers = 200;
constexpr std::size_t kRuns = 400;
constexpr std::size_t kProcesses = 60'000;

std::string number(std::uint64_t value) { return std::to_string(value); }

std::string padded(std::uint64_t value, std::size_t width) {
  const std::string digits = number(value);
  return std::string(width > digits.size() ? width - digits.size() : 0, '0') + digits;
}

std::string joined(std::initializer_list<std::string_view> parts) {
  std::string text;
  for (const std::string_view part : parts) text += part;
  return text;
}

std::string serverName(std::size_t server) { return "gpu-" + padded(server, 3); }

// Every draw is one of the generator's numbers, reduced by plain arithmetic: the distributions of
// the standard library differ from one library to the next. Where one expression draws several
// times, it does so in a braced list, which fixes their order.
class Lab {
 public:
  explicit Lab(std::uint32_t seed) : random_(seed) {}

  ServerSummary server(std::size_t i);
  TrainingRun run(std::size_t i);
  ProcessStat process(std::size_t i);
  NetworkSummary network(std::size_t server);
  UsageSummary usage(std::size_t server);
  TavrineAlert alert(std::size_t i);
  LabEvent labEvent(std::size_t i);
  LabEventStoreSummary labEventStore(std::size_t server);
  AgentStatus agentStatus(std::size_t server);
  SystemSensors sensors(std::size_t server);
  RecorderHealth recorderHealth(std::size_t server);
  ModelManager modelManager(std::size_t server);

  static constexpr std::uint64_t kNow = 1'794'536'000;

 private:
  std::uint64_t below(std::uint64_t bound) { return random_() % bound; }
  std::int64_t count(std::uint64_t low, std::uint64_t high) {
    return static_cast<std::int64_t>(low + below(high - low + 1));
  }
  // Up to some thousand times what one number of the generator reaches.
  std::int64_t bytes() { return count(0, 4'000'000'000) * count(1, 3'000); }
  // Between the limits with the given number of steps to one, such as 10 for tenths.
  double reading(std::uint64_t low, std::uint64_t high, std::uint64_t steps) {
    return static_cast<double>(low * steps + below((high - low) * steps + 1)) /
           static_cast<double>(steps);
  }
  template <std::size_t N>
  std::string pick(const std::string_view (&texts)[N]) {
    return std::string(texts[below(N)]);
  }
  // No value for one in `outOf`.
  template <class T>
  std::optional<T> mostly(std::uint64_t outOf, T value) {
    return below(outOf) == 0 ? std::nullopt : std::optional<T>(std::move(value));
  }
  // A value for one in `outOf`.
  template <class T>
  std::optional<T> seldom(std::uint64_t outOf, T value) {
    return below(outOf) == 0 ? std::optional<T>(std::move(value)) : std::nullopt;
  }
  Timestamp secondsAgo(std::uint64_t seconds) {
    return Timestamp(std::chrono::seconds(kNow - seconds));
  }
  UUID uuid() { return StableID::uuid("record-" + number(nextID_++)); }
  template <VocabularyType V>
  V oneOf() {
    return V::allCases()[below(V::allCases().size())];
  }
  bool chance(std::uint64_t percent) { return below(100) < percent; }

  std::string user();
  std::string address();
  std::string publicAddress();
  std::string busID();
  std::string commandLine(const std::string& owner);
  std::string logTail(std::uint64_t step);
  std::string prose(std::size_t sentences);
  std::string day();
  TrainingMetric metric(std::uint64_t step, std::uint64_t last);
  RecorderLogPoint recorderPoint(std::size_t i, const std::string& command);
  StackFrame stack(std::string thread, std::size_t depth);
  NetworkConnectionStat connection(std::size_t server);
  SSHAuthEvent sshEvent(std::size_t server);
  ConnectionSource connectionSource();
  StudentUsage student();

  std::mt19937 random_;
  std::uint64_t nextID_ = 0;
};

constexpr std::string_view kUsers[] = {"achen",   "bkovacs", "cmeyer",   "dsilva",  "efischer",
                                       "fsato",   "gnowak",  "hokafor",  "ivolkov", "jmartin",
                                       "kpatel",  "llarsen", "mrossi",   "nkim",    "ohaddad",
                                       "pgarcia", "qzhang",  "rschmidt", "stanaka", "tbrown"};
constexpr std::string_view kModels[] = {"transformer-7b",
                                        "transformer-13b",
                                        "resnet152",
                                        "vit-large-patch16",
                                        "unet-512",
                                        "gnn-molecules-12l",
                                        "speech-encoder-xl"};
constexpr std::string_view kDatasets[] = {"imagenet-21k",
                                          "webtext-dedup-2026-03",
                                          "protein-structures-v4",
                                          "speech-60k-hours",
                                          "satellite-tiles-eu"};
constexpr std::string_view kFrameworks[] = {"PyTorch", "JAX", "TensorFlow"};

// Countries with the code, the name and the flag that go together.
struct Country {
  std::string_view code, name, flag;
};
constexpr Country kCountries[] = {
    {"DE", "Germany", "\xF0\x9F\x87\xA9\xF0\x9F\x87\xAA"},
    {"US", "United States", "\xF0\x9F\x87\xBA\xF0\x9F\x87\xB8"},
    {"JP", "Japan", "\xF0\x9F\x87\xAF\xF0\x9F\x87\xB5"},
    {"CI", "C\xC3\xB4te d'Ivoire", "\xF0\x9F\x87\xA8\xF0\x9F\x87\xAE"},
    {"BR", "Brazil", "\xF0\x9F\x87\xA7\xF0\x9F\x87\xB7"},
    {"NL", "Netherlands", "\xF0\x9F\x87\xB3\xF0\x9F\x87\xB1"},
};
constexpr std::string_view kNetworks[] = {"AS64496 Example Campus Network",
                                          "AS64500 Harbour Telecom",
                                          "AS64501 Northern Fibre Cooperative",
                                          "AS64511 Cloud Hosting Ltd."};

std::string Lab::user() { return pick(kUsers); }

std::string Lab::address() {
  return joined({"10.", number(below(8)), ".", number(below(256)), ".", number(1 + below(254))});
}

std::string Lab::publicAddress() {
  return joined({number(31 + below(170)),
                 ".",
                 number(below(256)),
                 ".",
                 number(below(256)),
                 ".",
                 number(1 + below(254))});
}

std::string Lab::busID() {
  constexpr std::string_view kBuses[] = {"17", "2A", "3D", "63", "84", "A8", "C1", "E1"};
  return "00000000:" + pick(kBuses) + ":00.0";
}

std::string Lab::day() {
  return joined({"2026-", padded(1 + below(11), 2), "-", padded(1 + below(28), 2)});
}

// Between 40 and 200 characters, like those of a machine that people train on.
std::string Lab::commandLine(const std::string& owner) {
  switch (below(6)) {
    case 0:
      return joined({"/home/",
                     owner,
                     "/miniconda3/envs/train/bin/python -u train.py --model ",
                     pick(kModels),
                     " --data /data/",
                     pick(kDatasets),
                     " --batch-size ",
                     number(8U << below(6)),
                     " --lr ",
                     pick({"3e-4", "1e-4", "6e-5"}),
                     " --seed ",
                     number(below(100'000))});
    case 1:
      return joined({"/usr/bin/python3 /usr/local/bin/torchrun --standalone --nproc_per_node=",
                     number(1U << below(4)),
                     " pretrain.py --config configs/",
                     pick(kModels),
                     ".yaml --output-dir /scratch/",
                     owner,
                     "/run-",
                     number(below(10'000)),
                     " --resume latest --bf16"});
    case 2:
      return joined({"/home/",
                     owner,
                     "/miniconda3/envs/train/bin/python -c \"from multiprocessing.spawn import "
                     "spawn_main; spawn_main(tracker_fd=",
                     number(5 + below(90)),
                     ", pipe_handle=",
                     number(7 + below(90)),
                     ")\" --multiprocessing-fork"});
    case 3:
      return joined({"/home/",
                     owner,
                     "/.venv/bin/python -m ipykernel_launcher -f /home/",
                     owner,
                     "/.local/share/jupyter/runtime/kernel-",
                     padded(below(100'000'000), 8),
                     ".json"});
    case 4:
      return joined({"sshd: ",
                     owner,
                     "@pts/",
                     number(below(64)),
                     " [priv] from ",
                     address(),
                     " port ",
                     number(30'000 + below(30'000))});
    default:
      return joined({"/usr/lib/systemd/systemd-executor --deserialize ",
                     number(below(100)),
                     " --log-level info --log-target journal-or-kmsg"});
  }
}

std::string Lab::logTail(std::uint64_t step) {
  std::string text;
  for (std::uint64_t line = 0; line < 8; ++line) {
    text += joined({"2026-11-13 02:",
                    padded(below(60), 2),
                    ":",
                    padded(below(60), 2),
                    " INFO step ",
                    number(step + line),
                    " | loss ",
                    number(1 + below(4)),
                    ".",
                    padded(below(10'000), 4),
                    " | grad norm 0.",
                    padded(below(1'000), 3),
                    " | ",
                    number(10'000 + below(9'000)),
                    " tokens/s\n"});
  }
  return text;
}

std::string Lab::prose(std::size_t sentences) {
  constexpr std::string_view kSentences[] = {
      "Most of the GPU time went to two long training jobs.",
      "Traffic is within the usual range for this time of day.",
      "One user held GPU memory for hours without computing anything.",
      "Logins came from the campus network, with few exceptions.",
      "The disk that holds the checkpoints fills up faster than last week.",
      "Several failed logins share one range of addresses; none succeeded.",
  };
  std::string text;
  for (std::size_t i = 0; i < sentences; ++i) {
    if (i != 0) text += ' ';
    text += pick(kSentences);
  }
  return text;
}

ServerSummary Lab::server(std::size_t i) {
  ServerSummary server{
      .id = StableID::uuid("server-" + number(i)),
      .name = serverName(i),
      .host = joined({"10.0.", number(i / 256 % 256), ".", number(i % 256)}),
      .state = chance(95) ? ServerConnectionState::connected : ServerConnectionState::degraded,
      .gpus = {},
      .activeRuns = static_cast<std::int64_t>(i % 4),
      .diskFreeGB = reading(10, 4000, 10),
      .lastSeen = secondsAgo(below(60)),
  };
  for (std::int64_t g = 0; g < 8; ++g) {
    server.gpus.push_back({
        .index = g,
        .name = "NVIDIA H100 80GB HBM3",
        .utilizationPercent = reading(0, 100, 1),
        .memoryUsedMB = reading(0, 81559, 1),
        .memoryTotalMB = 81559,
        .temperatureC = reading(30, 90, 1),
        .powerDrawW = reading(60, 700, 100),
        .powerLimitW = 700,
        .fanSpeedPercent = g % 2 == 0 ? std::optional(reading(20, 100, 1)) : std::nullopt,
        .smClockMHz = reading(345, 1980, 1),
        .memClockMHz = 2619,
        .eccErrorsTotal = 0,
        .pcieLinkGen = 5,
        .pcieLinkWidth = 16,
        .pstate = "P0",
    });
  }
  return server;
}

TrainingMetric Lab::metric(std::uint64_t step, std::uint64_t last) {
  return {
      .step = static_cast<std::int64_t>(step),
      .timestamp = secondsAgo((last - step) / 2),
      .loss = reading(1, 4, 1'000'000),
      .throughput = reading(9'000, 19'000, 100),
      .flopsTFLOPs = reading(200, 420, 1'000),
      .gpuUtilization = reading(70, 100, 10),
  };
}

StackFrame Lab::stack(std::string thread, std::size_t depth) {
  constexpr std::string_view kFrames[] = {
      "forward (torch/nn/modules/linear.py:125)",
      "_call_impl (torch/nn/modules/module.py:1562)",
      "scaled_dot_product_attention (model/attention.py:88)",
      "backward (torch/autograd/__init__.py:289)",
      "all_reduce (torch/distributed/distributed_c10d.py:2501)",
      "_next_data (torch/utils/data/dataloader.py:1448)",
      "step (torch/optim/adamw.py:220)",
      "train_one_epoch (train.py:412)",
      "<module> (train.py:688)",
  };
  StackFrame stack{.thread = std::move(thread), .frames = {}};
  for (std::size_t i = 0; i < depth; ++i) stack.frames.push_back(pick(kFrames));
  return stack;
}

RecorderLogPoint Lab::recorderPoint(std::size_t i, const std::string& command) {
  RecorderLogPoint point{
      .t = secondsAgo((64 - i) * 30),
      .phase = i == 0 ? "start" : "snapshot",
      .gpuUtil = reading(60, 100, 1),
      .vramMB = reading(20'000, 81'000, 1),
      .powerW = reading(200, 700, 100),
      .dcgm = std::nullopt,
      .pySpy = std::nullopt,
      .text = std::nullopt,
      .cmdline = std::nullopt,
  };
  if (i == 0) {
    point.text = "attached to a running process";
    point.cmdline = command;
  }
  if (i % 2 == 0) {
    point.dcgm = DCGMSample{
        .fp32Active = reading(0, 1, 10'000),
        .tensorActive = reading(0, 1, 10'000),
        .dramActive = reading(0, 1, 10'000),
        .tflopsAchieved = mostly(8, reading(100, 800, 100)),
        .tflopsPeak = 989.4,
        .reason = seldom<std::string>(8, "profiling counters are shared with another client"),
    };
  }
  if (i % 8 == 4) {
    point.pySpy = {stack("MainThread", 8),
                   stack("Thread-1 (_pin_memory_loop)", 4),
                   stack("QueueFeederThread", 3)};
  }
  return point;
}

TrainingRun Lab::run(std::size_t i) {
  constexpr std::uint64_t kMetrics = 96;
  constexpr std::uint64_t kValMetrics = 12;
  constexpr std::uint64_t kRecorderPoints = 64;
  const std::string owner = user();
  const std::string command = commandLine(owner);
  const std::string name = joined({pick(kModels), "-", owner, "-", number(i)});
  const std::uint64_t start = 1'000 * below(200);
  const std::uint64_t last = start + 10 * kMetrics;
  const double vramTotal = 81559.0 / 1024;
  TrainingRun run{
      .id = uuid(),
      .name = name,
      .serverName = serverName(i % kServers),
      .framework = pick(kFrameworks),
      .status = chance(80) ? RunStatus::running : oneOf<RunStatus>(),
      .health = chance(80) ? RunHealth::healthy : oneOf<RunHealth>(),
      .startedAt = secondsAgo(3'600 + below(500'000)),
      .etaSeconds = mostly(4, reading(600, 400'000, 1)),
      .currentLoss = mostly(20, reading(1, 4, 1'000'000)),
      .throughput = reading(9'000, 19'000, 100),
      .flopsTFLOPs = reading(200, 420, 1'000),
      .gpuUtilization = reading(70, 100, 10),
      .vramUsedGB = reading(20'000, 81'000, 1) / 1024,
      .vramTotalGB = vramTotal,
      .powerDrawW = reading(200, 700, 100),
      .logTail = logTail(last),
      .metrics = {},
      .checkpoints = {},
      .hyperparameters = {{"batch_size", number(8U << below(6))},
                          {"gradient_accumulation", number(1 + below(16))},
                          {"learning_rate", pick({"0.0003", "0.0001", "6e-05"})},
                          {"lr_schedule", "cosine"},
                          {"optimizer", "AdamW(betas=(0.9, 0.95), weight_decay=0.1)"},
                          {"precision", "bf16"},
                          {"seed", number(below(100'000))},
                          {"sequence_length", number(1024U << below(4))}},
      .datasetName = pick(kDatasets),
      .modelName = pick(kModels),
      .checkpointPath = joined({"/scratch/", owner, "/checkpoints/", name}),
      .valMetrics = {},
      .dcgmTFLOPsAchieved = mostly(8, reading(100, 800, 100)),
      .dcgmTFLOPsPeak = 989.4,
      .dcgmTensorActive = reading(0, 1, 10'000),
      .dcgmFP32Active = reading(0, 1, 10'000),
      .dcgmDRAMActive = reading(0, 1, 10'000),
      .recorderLogPath = joined({"/var/lib/tavrine/recorder/", name, ".jsonl"}),
      .adoptedFromPath = seldom(10, joined({"/tmp/recorder-", number(below(100'000)), ".jsonl"})),
      .lastStackSample = stack("MainThread", 8),
      .lastRecorderPointAt = secondsAgo(30),
      .recorderPoints = {},
  };
  for (std::uint64_t m = 0; m < kMetrics; ++m) run.metrics.push_back(metric(start + 10 * m, last));
  for (std::uint64_t c = 0; c < 6; ++c) {
    run.checkpoints.push_back({
        .id = uuid(),
        .name = joined({"step-", padded(start + 160 * c, 8), ".pt"}),
        .timestamp = secondsAgo((6 - c) * 80),
        .sizeGB = reading(2, 160, 100),
        .isBest = c == 4,
    });
  }
  for (std::uint64_t m = 0; m < kValMetrics; ++m) {
    run.valMetrics.push_back(metric(start + 80 * m, last));
  }
  for (std::size_t p = 0; p < kRecorderPoints; ++p) {
    run.recorderPoints.push_back(recorderPoint(p, command));
  }
  return run;
}

ProcessStat Lab::process(std::size_t i) {
  const std::string owner = chance(80) ? user() : "root";
  const bool holdsGPU = chance(30);
  std::string command = commandLine(owner);
  return {
      .serverName = serverName(i % kServers),
      .pid = count(1'000, 4'190'000),
      .parentPID = count(1, 4'190'000),
      .owner = owner,
      .state = pick({"S", "Sl", "R", "Rl+", "Ssl", "D", "I<"}),
      .cpuPercent = reading(0, 1'600, 10),
      .memoryPercent = reading(0, 8, 10),
      .residentMemoryKB = count(900, 60'000'000),
      .gpuMemoryMB = holdsGPU ? std::optional(reading(300, 80'000, 1)) : std::nullopt,
      .gpuBusID = holdsGPU ? std::optional(busID()) : std::nullopt,
      .elapsed = joined({number(below(30)),
                         "-",
                         padded(below(24), 2),
                         ":",
                         padded(below(60), 2),
                         ":",
                         padded(below(60), 2)}),
      .executable =
          pick({"python", "python3", "pt_main_thread", "sshd", "systemd", "kworker/u256"}),
      .command = std::move(command),
      .kind = oneOf<ProcessKind>(),
      .capturedAt = secondsAgo(below(30)),
  };
}

NetworkConnectionStat Lab::connection(std::size_t server) {
  const Country& country = kCountries[below(std::size(kCountries))];
  const bool isRemote = chance(60);
  const auto whereRemote = [isRemote]<class T>(T value) {
    return isRemote ? std::optional<T>(std::move(value)) : std::nullopt;
  };
  return {
      .protocolName = pick({"tcp", "tcp6", "udp"}),
      .state = pick({"ESTABLISHED", "ESTABLISHED", "TIME_WAIT", "CLOSE_WAIT", "LISTEN"}),
      .localAddress = joined({"10.0.0.", number(server % 256), ":", number(22 + below(60'000))}),
      .remoteAddress =
          joined({isRemote ? publicAddress() : address(), ":", number(1'024 + below(60'000))}),
      .processName = mostly<std::string>(5, pick({"sshd", "python", "chronyd", "node_exporter"})),
      .username = mostly(5, user()),
      .pid = mostly(5, count(1'000, 4'190'000)),
      .lat = whereRemote(reading(0, 60, 10'000)),
      .lon = whereRemote(-reading(0, 120, 10'000)),
      .countryCode = whereRemote(std::string(country.code)),
      .countryName = whereRemote(std::string(country.name)),
      .asnLabel = whereRemote(pick(kNetworks)),
      .threatScore = whereRemote(reading(0, 1, 100)),
      .threatLabel = whereRemote(pick({"benign", "unusual", "suspicious"})),
      .direction = pick({"inbound", "outbound"}),
  };
}

SSHAuthEvent Lab::sshEvent(std::size_t server) {
  const Country& country = kCountries[below(std::size(kCountries))];
  const std::string remote = publicAddress();
  const std::string account = pick({"root", "admin", "ubuntu", "postgres", "test"});
  const std::int64_t port = count(30'000, 60'000);
  return {
      .id = joined({"ssh-", number(nextID_++)}),
      .type = pick({"failed_password", "invalid_user", "accepted_publickey"}),
      .remoteIP = remote,
      .user = account,
      .port = port,
      .lat = reading(0, 60, 10'000),
      .lon = reading(0, 120, 10'000),
      .countryCode = std::string(country.code),
      .countryName = std::string(country.name),
      .asnLabel = pick(kNetworks),
      .threatScore = reading(0, 1, 100),
      .attemptCount = count(1, 400),
      .firstSeen = secondsAgo(40'000 + below(40'000)),
      .lastSeen = secondsAgo(below(40'000)),
      .rawLine = joined({"Nov 13 02:11:09 ",
                         serverName(server),
                         " sshd[",
                         number(below(4'000'000)),
                         "]: Failed password for invalid user ",
                         account,
                         " from ",
                         remote,
                         " port ",
                         number(static_cast<std::uint64_t>(port)),
                         " ssh2"}),
  };
}

NetworkSummary Lab::network(std::size_t server) {
  constexpr std::size_t kConnections = 100;
  NetworkSummary summary{
      .serverName = serverName(server),
      .generatedAt = secondsAgo(below(60)),
      .totalRxBytes = bytes(),
      .totalTxBytes = bytes(),
      .interfaces = {},
      .connections = {},
      .insights = {},
      .aiSummary = prose(5),
      .summarySource = "rules",
      .packetAnalyses = {},
      .sshEvents = {},
      .serverPublicIP = publicAddress(),
      .rawAuthLog = {},
      .sshLogStatus = "readable",
      .retention = RetentionStats{.sizeBytes = count(1'000'000, 2'000'000'000),
                                  .capBytes = 10'737'418'240,
                                  .dayFileCount = count(1, 400),
                                  .oldestDay = day(),
                                  .newestDay = day(),
                                  .path = "/var/lib/tavrine/ssh-events",
                                  .lastEvictedDay = seldom(4, day()),
                                  .appendedThisCycle = count(0, 200)},
  };
  for (const std::string_view name : {"lo", "eno1", "ibp24s0", "docker0"}) {
    summary.interfaces.push_back({
        .name = std::string(name),
        .kind = name == "lo" ? "loopback" : "ethernet",
        .addressSummary = mostly(4, address() + "/16"),
        .rxBytes = bytes(),
        .txBytes = bytes(),
        .rxPackets = count(0, 4'000'000'000),
        .txPackets = count(0, 4'000'000'000),
    });
  }
  for (std::size_t c = 0; c < kConnections; ++c) {
    summary.connections.push_back(connection(server));
  }
  for (std::size_t n = 0; n < 3; ++n) {
    summary.insights.push_back({
        .id = joined({"insight-", number(nextID_++)}),
        .severity = oneOf<AlertSeverity>(),
        .title = "Many failed logins from one range",
        .detail = prose(3),
    });
  }
  for (std::size_t n = 0; n < 10; ++n) {
    summary.packetAnalyses.push_back({
        .connectionKey = summary.connections[n].id(),
        .threatScore = reading(0, 1, 100),
        .classification = pick({"benign", "scanner", "unknown"}),
        .ipRangeInfo = pick(kNetworks),
        .reasoning = prose(2),
    });
  }
  for (std::size_t n = 0; n < 10; ++n) {
    summary.sshEvents.push_back(sshEvent(server));
    summary.rawAuthLog += summary.sshEvents.back().rawLine + "\n";
  }
  return summary;
}

ConnectionSource Lab::connectionSource() {
  const Country& country = kCountries[below(std::size(kCountries))];
  const std::string source = publicAddress();
  return {
      .source = source,
      .displayName = source,
      .kind = oneOf<ConnectionSourceKind>(),
      .vpnProbability = reading(0, 1, 100),
      .evidence = "address outside the campus ranges",
      .isCurrent = chance(30),
      .countryCode = std::string(country.code),
      .countryName = std::string(country.name),
      .countryFlag = std::string(country.flag),
      .networkLabel = mostly(3, pick(kNetworks)),
  };
}

StudentUsage Lab::student() {
  const std::string name = user();
  // Sums of kibibytes in gibibytes have many decimals.
  constexpr double kKBPerGB = 1024.0 * 1024.0;
  StudentUsage student{
      .username = name,
      .processCount = count(1, 80),
      .trainingProcessCount = count(0, 8),
      .cpuPercent = reading(0, 3'200, 10),
      .memoryGB = static_cast<double>(count(1'000, 90'000'000)) / kKBPerGB,
      .gpuMemoryGB = reading(0, 80'000, 1) / 1024,
      .loginCount = count(0, 40),
      .lastLogin = mostly<std::string>(5, joined({"Thu Nov 13 0", number(below(10)), ":17"})),
      .activeCommands = {},
      .recentCommands = {},
      .connectionSources = {},
  };
  for (std::size_t c = 0; c < 3; ++c) student.activeCommands.push_back(commandLine(name));
  for (std::size_t c = 0; c < 5; ++c) {
    student.recentCommands.push_back(
        pick({"git pull", "ls -la", "nvidia-smi", "htop", "vim a.py"}));
  }
  for (std::size_t c = 0; c < 2; ++c) student.connectionSources.push_back(connectionSource());
  return student;
}

UsageSummary Lab::usage(std::size_t server) {
  constexpr std::size_t kStudents = 6;
  UsageSummary summary{
      .serverName = serverName(server),
      .generatedAt = secondsAgo(below(3'600)),
      .days = 7,
      .summary = prose(6),
      .summarySource = "rules",
      .students = {},
  };
  for (std::size_t s = 0; s < kStudents; ++s) summary.students.push_back(student());
  return summary;
}

TavrineAlert Lab::alert(std::size_t i) {
  return {
      .id = uuid(),
      .severity = oneOf<AlertSeverity>(),
      .title = "GPU memory nearly full",
      .message = prose(1),
      .serverName = serverName(i % kServers),
      .runName = mostly(2, joined({pick(kModels), "-", user()})),
      .timestamp = secondsAgo(below(86'400)),
  };
}

LabEvent Lab::labEvent(std::size_t i) {
  const std::string owner = user();
  return {
      .id = joined({"event-", number(nextID_++)}),
      .timestamp = secondsAgo(below(86'400)),
      .severity = oneOf<AlertSeverity>(),
      .category = pick({"process", "login", "gpu", "disk"}),
      .title = "A training process started",
      .message = prose(1),
      .serverName = serverName(i % kServers),
      .username = owner,
      .processPID = mostly(3, count(1'000, 4'190'000)),
      .command = mostly(3, commandLine(owner)),
  };
}

LabEventStoreSummary Lab::labEventStore(std::size_t server) {
  return {
      .serverName = serverName(server),
      .enabled = true,
      .path = "/var/lib/tavrine/events",
      .selectedDay = day(),
      .selectedDayEventCount = count(0, 4'000),
      .exportLimit = 5,
      .sizeBytes = bytes(),
      .estimatedYearBytes = bytes(),
      .eventCount = count(0, 4'000'000),
      .observedDays = count(1, 365),
      .alertThresholdBytes = 53'687'091'200,
      .alertRecipient = "lab-operations@example.org",
      .emailTemplate = "operations",
      .availableEmailTemplates = {"concise", "operations", "detailed"},
      .lastEmailAt = mostly(2, secondsAgo(below(864'000))),
      .lastEmailError = seldom<std::string>(8, "550 5.1.1 mailbox unavailable"),
      .lastTestEmailAt = mostly(2, secondsAgo(below(864'000))),
      .lastTestEmailError = std::nullopt,
      .smtpHost = "mail.example.org",
      .smtpPort = 587,
      .smtpFrom = joined({serverName(server), "@example.org"}),
      .smtpStartTLS = true,
      .error = std::nullopt,
  };
}

AgentStatus Lab::agentStatus(std::size_t server) {
  return {
      .serverName = serverName(server),
      .ok = chance(98),
      .version = "1.4.2",
      .startedAt = secondsAgo(below(8'640'000)),
      .generatedAt = secondsAgo(below(60)),
      .cacheGeneratedAt = secondsAgo(below(120)),
      .intervalSeconds = 15,
      .processLimit = 300,
  };
}

SystemSensors Lab::sensors(std::size_t server) {
  SystemSensors sensors{
      .serverName = serverName(server),
      .capturedAt = secondsAgo(below(60)),
      .cpuTemperatures = {},
      .diskIO = {},
      .loadAverage = {reading(0, 90, 100), reading(0, 90, 100), reading(0, 90, 100)},
  };
  for (std::uint64_t core = 0; core < 16; ++core) {
    sensors.cpuTemperatures.push_back(
        {.label = joined({"Core ", number(core)}), .celsius = reading(35, 90, 1)});
  }
  for (std::uint64_t disk = 0; disk < 6; ++disk) {
    sensors.diskIO.push_back({
        .device = joined({"nvme", number(disk), "n1"}),
        .readKBps = reading(0, 3'000'000, 10),
        .writeKBps = reading(0, 3'000'000, 10),
        .utilizationPercent = mostly(4, reading(0, 100, 10)),
    });
  }
  return sensors;
}

RecorderHealth Lab::recorderHealth(std::size_t server) {
  RecorderHealth health{
      .serverName = serverName(server),
      .logRoot = "/var/lib/tavrine/recorder",
      .activePids = {},
      .activeRecorders = {},
      .adoptedPaths = {},
      .diskUsageGB = reading(0, 50, 1'000),
      .capGB = 50,
      .alertThresholdGB = 45,
      .retentionDays = 14,
      .ptraceScope = 1,
      .pySpyAvailable = chance(90),
      .dcgmAvailable = chance(90),
      .nvidiaSmiAvailable = true,
      .lastAlertSentAt = seldom(3, secondsAgo(below(864'000))),
  };
  for (std::size_t r = 0; r < 2; ++r) {
    const std::string owner = user();
    const std::int64_t pid = count(1'000, 4'190'000);
    health.activePids.push_back(pid);
    health.activeRecorders.push_back({
        .pid = pid,
        .owner = owner,
        .logPath = joined({health.logRoot, "/", owner, "-", number(r), ".jsonl"}),
        .adoptedFrom = seldom<std::string>(5, "/tmp/recorder.jsonl"),
        .cmdline = commandLine(owner),
        .openedAt = secondsAgo(below(500'000)),
    });
  }
  if (chance(20)) health.adoptedPaths.emplace_back("/tmp/recorder.jsonl");
  return health;
}

ModelManager Lab::modelManager(std::size_t server) {
  ModelManager manager{
      .serverName = serverName(server),
      .running = chance(70),
      .model = mostly(3, pick(kModels)),
      .configuredModel = pick(kModels),
      .tier = count(1, 4),
      .tierReason = "eight GPUs with 80 GB each",
      .selectedProfile = mostly(3, count(1, 3)),
      .available = {},
  };
  for (std::int64_t profile = 1; profile <= 3; ++profile) {
    manager.available.push_back({
        .profile = profile,
        .label = pick({"fast", "balanced", "largest"}),
        .model = pick(kModels),
        .precision = pick({"fp8", "bf16", "int4"}),
        .gpus = profile,
        .downloaded = chance(60),
    });
  }
  return manager;
}

}  // namespace

std::vector<ServerSummary> largeServerList(std::size_t count) {
  Lab lab(42);
  std::vector<ServerSummary> servers;
  for (std::size_t i = 0; i < count; ++i) servers.push_back(lab.server(i));
  return servers;
}

AppSnapshot largeLab() {
  Lab lab(42);
  AppSnapshot snapshot{};
  snapshot.timestamp = Timestamp(std::chrono::seconds(Lab::kNow));
  for (std::size_t i = 0; i < kServers; ++i) {
    snapshot.servers.push_back(lab.server(i));
    snapshot.usageSummaries.push_back(lab.usage(i));
    snapshot.networkSummaries.push_back(lab.network(i));
    snapshot.agentStatuses.push_back(lab.agentStatus(i));
    snapshot.labEventStores.push_back(lab.labEventStore(i));
    snapshot.sensors.push_back(lab.sensors(i));
    snapshot.recorderHealth.push_back(lab.recorderHealth(i));
    snapshot.modelManagers.push_back(lab.modelManager(i));
  }
  for (std::size_t i = 0; i < kRuns; ++i) snapshot.runs.push_back(lab.run(i));
  for (std::size_t i = 0; i < kProcesses; ++i) snapshot.processes.push_back(lab.process(i));
  for (std::size_t i = 0; i < 1'000; ++i) {
    snapshot.alerts.push_back(lab.alert(i));
    snapshot.labEvents.push_back(lab.labEvent(i));
  }
  return snapshot;
}

}  // namespace tavrine::benchmarks
