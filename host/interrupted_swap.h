#pragma once

// A rebuilt table has several new files, and they get their places one after the other, the data
// file first. A process that dies in between leaves a new data file with the memo texts and the
// keys of the old one. What is missing can be told, and is made up by whoever opens the file next:
//
//  - the new data file carries a mark (PosixFile::Mark) from before it gets its place until the
//    last file has got its own;
//  - the names of the other new files carry the number that the system gave to the data file.
//
// Only files in the data file's own folder are found. An index elsewhere waits for the next pack.

#include <cstdint>
#include <string>

namespace ovrahost {

// What the name of a new file has behind that of the file whose place it is to take, followed by
// what makes it unique.
std::string FollowerSuffix(uint64_t dataFileNumber);

// Whether there are new files that belong to a data file and have not got their places.
bool IsSwapUnfinished(const std::string& dataPath, uint64_t dataFileNumber);

// Gives them their places.
void FinishSwap(const std::string& dataPath, uint64_t dataFileNumber);

// Removes what an earlier file of that number has left: systems use numbers again.
void ForgetSwap(const std::string& dataPath, uint64_t dataFileNumber);

}  // namespace ovrahost
