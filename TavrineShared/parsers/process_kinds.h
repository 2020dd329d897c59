// What kind of process one is, by the words in its command and by its owner. Private: no public
// header includes it.
#pragma once

#include <TavrineShared/foundation/keyword_table.h>
#include <TavrineShared/model/process.h>

#include <array>
#include <cstddef>
#include <string_view>

namespace tavrine::process_kinds {

/// A kind's place among all kinds is its rank: they are declared in the order in which they decide.
constexpr Keyword keyword(std::string_view text, ProcessKind kind) { return {text, kind.index()}; }

/// They are looked for anywhere, so a script named pretrain.py counts as training, whoever runs it.
inline constexpr auto kKeywords = std::to_array<Keyword>({
    keyword("torchrun", ProcessKind::training),
    keyword("deepspeed", ProcessKind::training),
    keyword("accelerate", ProcessKind::training),
    keyword("train.py", ProcessKind::training),
    keyword("trainer", ProcessKind::training),
    keyword("pytorch", ProcessKind::training),
    keyword("tensorflow", ProcessKind::training),
    keyword("nvidia-smi", ProcessKind::gpu),
    keyword("nvtop", ProcessKind::gpu),
    keyword("dcgm", ProcessKind::gpu),
    keyword("cuda", ProcessKind::gpu),
    keyword("slurm", ProcessKind::scheduler),
    keyword("srun", ProcessKind::scheduler),
    keyword("sbatch", ProcessKind::scheduler),
    keyword("ray::", ProcessKind::scheduler),
    keyword("raylet", ProcessKind::scheduler),
    keyword("jupyter", ProcessKind::notebook),
    keyword("ipykernel", ProcessKind::notebook),
    keyword("notebook", ProcessKind::notebook),
    keyword("labapp", ProcessKind::notebook),
    keyword("systemd", ProcessKind::system),
    keyword("sshd:", ProcessKind::system),
});

/// By that keyword in the executable or the command line, letter case ignored, that comes first in
/// the list; without one, a system process when the owner is one of the system's, else any other.
ProcessKind classify(std::string_view executable, std::string_view command, std::string_view owner);

}  // namespace tavrine::process_kinds
