#pragma once

// TemporaryFile: a file for what another part of the program writes into it by its name. Once that
// part has it open the name can go, so that nothing is left behind however the program ends.

#include <string>

namespace ovrashell {

class TemporaryFile {
  public:
    // Throws an Error when there is no place for it.
    TemporaryFile();
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    // Empty once the name is gone.
    const std::string& Path() const { return path_; }
    void RemoveName();

    // All that has been written so far. May be called from any thread.
    std::string Text() const;

  private:
    int descriptor_ = -1;  // set while the path is made
    std::string path_;
};

// A folder of its own, removed at the end with all that is in it.
class TemporaryFolder {
  public:
    // Its name is `prefix` and what makes it unique. Throws an Error as above.
    explicit TemporaryFolder(const std::string& prefix);
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    // At once: what has files in it open goes on using them.
    void Remove();

    std::string File(const std::string& name) const { return path_ + "/" + name; }

  private:
    std::string path_;
    bool isThere_ = true;
};

}  // namespace ovrashell
