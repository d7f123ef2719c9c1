#include "shared/version.h"

namespace host {

Version version() {
#if defined(__clang__)
    const std::string compiler = "clang " __clang_version__;
#else
    const std::string compiler = "gcc " __VERSION__;
#endif
    return {LEOPOD_VERSION, LEOPOD_COMMIT, compiler, LEOPOD_BUILD_OPTIONS};
}

std::string Version::text() const {
    return "leopod " + number + "\ncommit: " + commit + "\ncompiler: " + compiler + "\noptions: " + options;
}

}  // namespace host
