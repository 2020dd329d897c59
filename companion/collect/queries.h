// The exact commands whose output the parsers read: each stands in the program once.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tavrine {

/// One column of the GPU query.
struct GPUQueryColumn {
  std::string_view property;  ///< what the GPU tool calls it
  std::string_view field;     ///< the field of `GPUStat` that it fills
};

/// In the order in which the parser expects them, which is the order of the fields.
std::span<const GPUQueryColumn> gpuQueryColumns();

/// Prints a header and one line per GPU. Needs no quoting in a shell.
std::string gpuQueryCommand();

/// Prints a header and one line per process and GPU.
std::string gpuProcessQueryCommand();

/// One column of the process table.
struct ProcessQueryColumn {
  std::string_view name;   ///< what the process tool calls it, with a width where needed
  std::string_view field;  ///< the field of `ProcessStat` that it fills
};

/// In the order in which the parser expects them.
std::span<const ProcessQueryColumn> processQueryColumns();

/// Prints a header and one line per process, whole command lines included.
std::string processQueryCommand();

std::string loadQueryCommand();

/// Takes a second: prints the disk statistics twice, framed by three marker lines.
std::string diskQueryCommand();

/// Prints a label, a tab and thousandths of a degree for every sensor that can be read. A label is
/// the kind of a thermal zone, or the name of a chip and of one of its sensors.
std::string thermalQueryCommand();

/// Prints the end of a training log, or of a recorder's: as much as tells how the run is doing. The
/// first line may be cut. Any file name is quoted as the shell needs it.
std::string trainingLogQueryCommand(std::string_view file);
std::string recorderQueryCommand(std::string_view file);

/// The same for a file whose name is in a variable of the shell.
std::string trainingLogQueryOfVariable(std::string_view variable);
std::string recorderQueryOfVariable(std::string_view variable);

/// Prints a header and a line for the file system of each folder. A leading "~/" is the home.
std::string diskFreeQueryCommand(const std::vector<std::string>& folders);

}  // namespace tavrine
