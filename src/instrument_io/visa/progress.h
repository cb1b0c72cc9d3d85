// How far the file transfer running on this thread has come. The VISA file
// operations (viReadToFile, viWriteFromFile) move a whole file in one call;
// a caller that shows progress installs an observer for the length of that
// call and hears the bytes moved so far against the call's count.
#pragma once

#include <cstdint>
#include <functional>

namespace qv::visa {

using TransferProgress = std::function<void(uint64_t done, uint64_t total)>;

// The observer of this thread's transfers; nullptr removes it. The caller
// keeps it alive while it is installed.
void setTransferProgress(const TransferProgress* observer);
// Called by the transfers as bytes move.
void reportTransfer(uint64_t done, uint64_t total);

}  // namespace qv::visa
