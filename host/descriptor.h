#pragma once

// Descriptor: an open file of the system, with the byte-range locks that were taken through it. It
// is closed with the last PosixFile that uses it. The object is there first and is opened then, so
// that memory which runs out leaves no file behind that nobody knows of.
//
// The locks are open-file-description locks (fcntl F_OFD_SETLK): two descriptors of one file
// conflict with each other even inside one process, and closing a file drops no locks but its own.
// They would outlive the one who took them where fork has given the open file to another process.
// Therefore
//
// 1. a forked process closes all descriptors that it was given, before fork returns in it. What it
//    tries with them fails, and ForkCount() tells why;
// 2. a descriptor that was open while the process forked gives its locks back before it is closed:
//    the child may not have come as far yet, or may have missed one that was just being opened.
//
// So locks belong to the process that took them, and to its descriptor.

#include <cstdint>
#include <list>
#include <string>

namespace ovrahost {

class Descriptor {
  public:
    Descriptor();
    ~Descriptor();
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    // Opens a file, once, with the system's flags. 0, or the errno value. One that must not exist
    // before (O_EXCL) is its owner's alone, until it is known who else may read it.
    int Open(const std::string& path, int flags);

    // The system's number for it; -1 before it is opened and in a forked process.
    int Number() const { return number_; }

    // 0 when the lock was taken at once, or given back (F_UNLCK), else the errno value. A length of
    // 0 reaches to the end of all files.
    int TryLock(int16_t type, int64_t offset, int64_t length) const;

    // Whether a claim is held (PosixFile::Claim), which all users of the descriptor have in common.
    bool IsClaimed() const { return isClaimed_; }
    void SetClaimed(bool isClaimed) { isClaimed_ = isClaimed; }

    // How often this process, or one that it descends from, has come out of a fork. What was opened
    // at another count is lost.
    static uint64_t ForkCount();

  private:
    // A program that has closed its standard output must not write to a table in its place. 0, or
    // the errno value.
    int LeaveStandardNumbers();

    struct All;  // the descriptors of the process
    static All& Everywhere();

    int number_ = -1;
    bool isClaimed_ = false;
    uint64_t forksBefore_ = 0;  // that the process had made when this was about to be opened
    std::list<Descriptor*>::iterator place_;
};

}  // namespace ovrahost
