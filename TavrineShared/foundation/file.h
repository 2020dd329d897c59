// Whole files: read at once, and replaced at once.
#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <string_view>
#include <utility>

namespace tavrine {

/// The bytes of a file, in memory of their own.
class FileBytes {
 public:
  // NOLINTNEXTLINE(modernize-avoid-c-arrays): how many there are is known at run time only
  using Bytes = std::unique_ptr<char[]>;

  FileBytes(Bytes bytes, std::size_t size) : bytes_(std::move(bytes)), size_(size) {}

  std::string_view text() const { return {bytes_.get(), size_}; }

 private:
  Bytes bytes_;
  std::size_t size_;
};

/// Everything in a regular file. Throws `std::filesystem::filesystem_error` for whatever cannot be
/// read, also for what is no regular file: nobody knows how long a FIFO or a device would take.
FileBytes readFile(const std::filesystem::path& path);

/// Throws `std::filesystem::filesystem_error` unless `path` ends in the name of a file; one that
/// ends in a slash names a folder.
void requireFileName(const std::filesystem::path& path);

/// Puts `bytes` in the place of the file at `path`, in one step: whoever reads meanwhile gets the
/// old file or the new one, whole, and so does whoever reads after a loss of power. The folder must
/// exist. The file keeps the permissions of the old one, or else has those of any new file. A
/// symbolic link at `path` is replaced, not followed; a device, a FIFO or a socket is left alone,
/// which is an error.
///
/// Throws `std::filesystem::filesystem_error`; then the old file is untouched and nothing is left
/// behind. A process that is killed leaves a file `.tavrine-XXXXXXXXXXXXXXXX.tmp` in the folder,
/// hexadecimal digits in it, which the next one to write there removes. To find such files, each
/// call goes over the names in the folder.
void replaceFile(const std::filesystem::path& path, std::string_view bytes);

/// Takes the next bytes of a file.
using FileSink = std::function<void(std::string_view)>;

/// The same for bytes that come in pieces: `produce` hands them all to the sink that it is given.
/// When it throws, the old file is untouched, too.
void replaceFileWith(const std::filesystem::path& path,
                     const std::function<void(const FileSink& file)>& produce);

/// The current user's: of the environment's HOME, or else of the user database. Throws
/// `std::filesystem::filesystem_error` where neither knows it.
std::filesystem::path homeDirectory();

}  // namespace tavrine
