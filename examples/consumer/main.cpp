#include <TavrineShared/tavrine_shared.h>

#include <iostream>

int main() {
  const auto gpus = tavrine::NVIDIASMIParser::parseCSV(
      "0, NVIDIA L40S, 97 %, 41872 MiB, 46068 MiB, 61, 312.42 W, 350.00 W, [N/A], 2490 MHz\n");
  for (const tavrine::GPUStat& gpu : gpus) {
    std::cout << gpu.name << ": " << 100 * gpu.memoryFraction() << " % of its memory in use\n"
              << tavrine::encode(gpu, tavrine::JSONStyle::pretty) << '\n';
  }
}
