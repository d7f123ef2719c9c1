#include "outputs/ephemeris.h"

#include <algorithm>
#include <cstdio>

#include "outputs/oem.h"
#include "outputs/sp3.h"
#include "shared/error.h"
#include "shared/files.h"

namespace host {

namespace {

void require_designator(const std::string& id) {
    const auto digit = [&](std::size_t i) { return i < id.size() && id[i] >= '0' && id[i] <= '9'; };
    const auto capital = [](char c) { return c >= 'A' && c <= 'Z'; };
    bool good = id.size() >= 9 && id.size() <= 11 && id[4] == '-';
    for (const std::size_t i : {0, 1, 2, 3, 5, 6, 7}) good = good && digit(i);
    good = good && std::all_of(id.begin() + 8, id.end(), capital);
    if (!good) throw InputError("--object-id " + id + ": an international designator such as 2002-012B is expected");
}

/// A name that can be a value of an OEM.
void require_name(const std::string& name) {
    constexpr std::size_t kLongest = 240;  // on a line of 254 characters
    const bool plain = std::all_of(name.begin(), name.end(), [](char c) { return c >= ' ' && c <= '~'; });
    if (!plain) throw InputError("--object-name: plain characters are expected");
    if (name.size() > kLongest || (!name.empty() && (name.front() == ' ' || name.back() == ' ')))
        throw InputError("--object-name: a name of up to 240 characters, without blanks around it, is expected");
}

}  // namespace

void plan_orbit_outputs(const OrbitOutputs& o, FilePlan& plan) {
    plan.out("--sp3-out", o.sp3_out).out("--oem-out", o.oem_out);
    const std::string& s = o.satellite;
    if (!o.sp3_out.empty() && !s.empty()) {
        const bool good =
            s.size() == 3 && s[0] >= 'A' && s[0] <= 'Z' && s.find_first_not_of("0123456789", 1) == std::string::npos;
        if (!good) throw InputError("--satellite " + s + ": a letter and two digits such as L01 are expected");
    }
    if (o.oem_out.empty()) return;
    if (!o.object_id.empty()) require_designator(o.object_id);
    require_name(o.object_name);
    oem_frame(o.oem_frame);
}

std::size_t write_orbit(const OrbitOutputs& o, const Ephemeris& ephemeris) {
    std::size_t left_out = 0;
    if (!o.sp3_out.empty()) {
        write_sp3(o.sp3_out, o, ephemeris);
        say_written("orbit", o.sp3_out);
    }
    if (!o.oem_out.empty()) {
        left_out = write_oem(o.oem_out, o, ephemeris);
        say_written("ephemeris", o.oem_out);
        if (left_out > 0)
            std::printf("note: %zu positions have no neighbours for a velocity and are not in the ephemeris\n",
                        left_out);
    }
    return left_out;
}

}  // namespace host
