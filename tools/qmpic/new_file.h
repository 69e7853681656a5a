#pragma once

#include <cstdio>
#include <string>

namespace tool {

/// A file that is written beside the wanted one under another name, and takes its name when it is
/// complete: until then an old file stays as it is, and so it does when anything fails.
class NewFile {
  public:
    explicit NewFile(const std::string& path);
    ~NewFile();
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    std::FILE* file() const { return file_; }
    /// On disk before the old file goes.
    void finish();
    /// Throws Failure with the reason that errno has.
    [[noreturn]] void fail() const;

  private:
    const std::string path_;
    std::string name_;
    std::FILE* file_ = nullptr;
    bool renamed_ = false;
};

}  // namespace tool
