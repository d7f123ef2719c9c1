#include "stores/orientation.h"

#include "inputs/kinds.h"
#include "inputs/open.h"
#include "shared/error.h"
#include "shared/times.h"
#include "stores/environment.h"

namespace host {

void load_earth_orientation(const std::string& file, const std::string& format, Environment& environment) {
    initialize_global_earth_rotation_param();
    environment.eop_source = "none: UT1 = UTC, no polar motion";
    if (file.empty()) return;
    const std::string kind = "earth orientation file of format " + format;
    check_kind(file, kind, {format == "c04" ? Kind::eop_c04 : format == "rapid" ? Kind::eop_rapid : Kind::eop_keyword});
    environment.eop = make_zeroed<EOPREC>(MAXSIZE_EOP + 1);
    g_eop_storage = environment.eop.get();
    bool ok = false;
    if (format == "c04") {
        ok = load_eop_storage(loadable(file));
    } else if (format == "rapid") {
        ok = load_eop_storage_rapid(loadable(file));
    } else if (format == "keyword") {
        ok = load_eop_storage_celestrack(loadable(file));
        // This reader leaves the count to the caller.
        g_eop_storage_size = 0;
        while (g_eop_storage_size <= MAXSIZE_EOP && g_eop_storage[g_eop_storage_size].ok) ++g_eop_storage_size;
    } else {
        throw InputError("--eop-format " + format + ": one of c04, rapid, keyword is expected");
    }
    if (!ok || g_eop_storage_size == 0) wrong_kind(file, kind);
    const double first = g_eop_storage[0].mjd_utc;
    const double last = g_eop_storage[g_eop_storage_size - 1].mjd_utc;
    environment.files.push_back({"earth orientation", file, std::to_string(g_eop_storage_size) + " days"});
    environment.eop_source = format + " file " + file + ", " + date_span_text(first, last) + " UTC";
}

}  // namespace host
