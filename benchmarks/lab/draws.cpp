#include "benchmarks/lab/lab.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <string>
#include <string_view>

namespace tavrine::benchmarks {

namespace {

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

}  // namespace

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

std::string Lab::user() { return pick(kUsers); }

std::string Lab::model() { return pick(kModels); }

std::string Lab::dataset() { return pick(kDatasets); }

std::string Lab::networkOwner() { return pick(kNetworks); }

const Country& Lab::country() { return kCountries[below(std::size(kCountries))]; }

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

std::string Lab::commandLine(const std::string& owner) {
  switch (below(6)) {
    case 0:
      return joined({"/home/",
                     owner,
                     "/miniconda3/envs/train/bin/python -u train.py --model ",
                     model(),
                     " --data /data/",
                     dataset(),
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
                     model(),
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

}  // namespace tavrine::benchmarks
