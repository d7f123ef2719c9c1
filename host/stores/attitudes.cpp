#include "stores/attitudes.h"

#include <algorithm>
#include <cmath>

#include "attitude.h"
#include "shared/error.h"
#include "shared/times.h"

namespace host {

namespace {

constexpr double kUnit = 1e-3;  ///< that the length of a quaternion may be off one
constexpr double kSame = 1e-6;  ///< one less the cosine of half the angle between two that are the same

double product(const QUATERNION& a, const QUATERNION& b) {
    return a.r * b.r + a.v[0] * b.v[0] + a.v[1] * b.v[1] + a.v[2] * b.v[2];
}

bool is_rotation(const ATT_QUATERNION& record) {
    return std::fabs(std::sqrt(product(record.qua, record.qua)) - 1.0) <= kUnit;
}

}  // namespace

long tidy_attitudes(const std::string& files) {
    long out = 0;
    for (int i = 0; i < g_att_qua_storage.num_object; ++i) {
        ATT_QUATERNION* const first = g_att_qua_storage.qua_all[i];
        int& count = g_att_qua_storage.qua_num[i];
        ATT_QUATERNION* end = std::remove_if(first, first + count, [](const auto& r) { return !is_rotation(r); });
        out = first + count - end;
        const auto earlier = [](const auto& a, const auto& b) { return gtime_less(a.time, b.time); };
        if (!std::is_sorted(first, end, earlier)) std::stable_sort(first, end, earlier);
        end = std::unique(first, end, [&](const ATT_QUATERNION& a, const ATT_QUATERNION& b) {
            if (!gtime_equal(a.time, b.time)) return false;
            const double lengths = std::sqrt(product(a.qua, a.qua) * product(b.qua, b.qua));
            if (std::fabs(product(a.qua, b.qua)) >= (1.0 - kSame) * lengths) return true;
            throw InputError(files + ": two attitudes at " + time_text(a.time));
        });
        count = static_cast<int>(end - first);
        if (count == 0) throw InputError(files + ": none of these quaternions is a rotation");
    }
    return out;
}

}  // namespace host
