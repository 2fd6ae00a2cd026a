#pragma once

// A rebuilt table has several new files, and they get their places one after the other, the data
// file first. A process that dies in between leaves a new data file with the memo texts and the
// keys of the old one. What is missing can be told, and is made up by whoever opens the file next:
//
//  - the new data file carries a mark (PosixFile::Mark) from before it gets its place until the
//    last file has got its own;
//  - the names of the other new files carry the number that the system gave to the data file, and
//    end in ".tmp".
//
// Only files in the data file's own folder are found. An index elsewhere waits for the next pack.

#include <cstdint>
#include <string>

namespace ovrahost {

// What the name of a new file has behind that of the file whose place it is to take, followed by
// what makes it unique.
std::string FollowerSuffix(uint64_t dataFileNumber);

// Whether all new files that belong to a data file have their places. Where that cannot be found
// out they may not have, and `error` tells why; it is empty when some are waiting.
bool IsSwapFinished(const std::string& dataPath, uint64_t dataFileNumber, std::string* error);

// Gives them their places. Whether all have them now; `error` tells why not.
bool FinishSwap(const std::string& dataPath, uint64_t dataFileNumber, std::string* error);

// Removes what an earlier file of that number has left, since systems use numbers again; what can
// be found and removed of it.
void ForgetSwap(const std::string& dataPath, uint64_t dataFileNumber);

}  // namespace ovrahost
