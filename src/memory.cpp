/// \file memory.cpp
/// Memory that a function takes for its own work.
#include "private/memory.h"

#include "private/report.h"

namespace leopod {

void Memory::complain() const { report(ULOG_ERROR_LEVEL, "%s(): no memory for %.0f bytes", function_, bytes_); }

}  // namespace leopod
