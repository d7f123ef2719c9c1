#include "stores/planets.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "iau_function.h"
#include "inputs/checks.h"
#include "inputs/kinds.h"
#include "inputs/open.h"
#include "inputs/positions.h"
#include "shared/earth.h"
#include "shared/error.h"
#include "shared/times.h"
#include "stores/environment.h"

namespace host {

namespace {

/// Files of ephemerides overlap by a record, so that joined ones hold it twice; the library counts records to find a date, and would take the
/// wrong one behind the seam. Takes repeated records out of the store and returns their number. Throws InputError where records are missing or
/// out of order.
int drop_repeated_records(const std::string& file, EPH_HEADER_JPL& header, EPH_RECORD_JPL* records) {
    constexpr double kSame = 1e-6;  // [day]
    const int count = g_num_eph_record + 1;
    int kept = 1;
    for (int i = 1; i < count; ++i) {
        const double due = header.ss[0] + kept * header.ss[2];
        const double start = records[i].chebychev_coef[0];
        if (std::fabs(start - due) < kSame) {
            if (kept != i) records[kept] = records[i];
            ++kept;
        } else if (start > due || start < header.ss[0] - kSame ||
                   std::fabs(std::remainder(start - header.ss[0], header.ss[2])) > kSame) {
            throw InputError(file + ": this JPL ephemeris file has no record for " +
                             date_span_text(due - kMjdToJd, start - kMjdToJd) + " (TT)");
        }
    }
    g_num_eph_record = kept - 1;
    header.ss[1] = records[kept - 1].chebychev_coef[1];
    if (g_num_eph_record < 1) wrong_kind(file, "JPL ephemeris file with records", Kind::jpl);
    return count - kept;
}

}  // namespace

void load_planets(const std::string& file, double mjd_first, double mjd_last, Environment& environment) {
    initialize_global_eph_planet();
    environment.jpl_header = make_zeroed<EPH_HEADER_JPL>();
    environment.jpl_records = make_zeroed<EPH_RECORD_JPL>(MAXNUM_RECORD_JPLEPH + 1);
    EPH_HEADER_JPL* header = environment.jpl_header.get();
    EPH_RECORD_JPL* records = environment.jpl_records.get();
    std::string name;
    if (!file.empty()) {
        check_holds(file, "JPL ephemeris file", Kind::jpl, "GROUP   1030", " (ASCII header with groups)");
        if (!load_eph_storage_file(loadable(file), header, records) || g_num_eph_record <= 0)
            wrong_kind(file, "JPL ephemeris file with records", Kind::jpl);
        const int repeated = drop_repeated_records(file, *header, records);
        environment.files.push_back({"planets", file, std::to_string(g_num_eph_record + 1) + " records"});
        name = "file " + file;
        if (repeated > 0) name += " without " + std::to_string(repeated) + " repeated records";
    } else {
        load_eph_storage_default(header, records);
        if (mjd_first + kMjdToJd - 1.0 < header->ss[0] || mjd_last + kMjdToJd + 1.0 > header->ss[1]) {
            initialize_global_eph_planet();
            environment.planet_source = "analytic series of Sun and Moon";
            return;
        }
        name = "built-in record";
    }
    g_eph_header = header;
    g_ephData_storage = records;
    environment.planet_source =
        name + ", " + date_span_text(header->ss[0] - kMjdToJd, header->ss[1] - kMjdToJd) + " TT";
}

std::string planet_shortcoming(double mjd_first, double mjd_last) {
    if (g_eph_header == nullptr || g_num_eph_record == 0) return "";
    const double margin = 0.01;  // UTC against TT [day]
    const double first = g_eph_header->ss[0] - kMjdToJd, last = g_eph_header->ss[1] - kMjdToJd;
    if (mjd_first > first + margin && mjd_last < last - margin) return "";
    const std::string spans =
        " OF THE ARC: " + date_span_text(first, last) + " TT; the arc is " + date_span_text(mjd_first, mjd_last);
    if (mjd_last < first || mjd_first > last) throw InputError("THE PLANETS COVER NOTHING" + spans);
    return "THE PLANETS COVER PART" + spans;
}

namespace {

/// Chebyshev coefficients of a function of time over [start, start + length], `count` for each of three components, one after the other.
template <typename Function>
void fit_chebyshev(double start, double length, int count, Function position, double* coefficients) {
    std::vector<Vector3> values(static_cast<std::size_t>(count));
    for (int k = 0; k < count; ++k)
        values[static_cast<std::size_t>(k)] =
            position(start + 0.5 * length * (1.0 + std::cos(M_PI * (k + 0.5) / count)));
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < count; ++j) {
            double sum = 0;
            for (int k = 0; k < count; ++k)
                sum += values[static_cast<std::size_t>(k)][static_cast<std::size_t>(i)] *
                       std::cos(M_PI * j * (k + 0.5) / count);
            coefficients[i * count + j] = (j == 0 ? 1.0 : 2.0) / count * sum;
        }
    }
}

/// Mean equator and equinox of date to GCRS: the analytic series know the longitudes of date.
Vector3 from_mean_of_date(double tt_jd, const Vector3& of_date) {
    double gamb, phib, psib, epsa;
    double rbp[3][3];
    iauPfw06(tt_jd, 0.0, &gamb, &phib, &psib, &epsa);
    iauFw2m(gamb, phib, psib, epsa, rbp);
    Vector3 gcrs{};
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t k = 0; k < 3; ++k) gcrs[i] += rbp[k][i] * of_date[k];
    }
    return gcrs;
}

}  // namespace

void tabulate_analytic_planets(double mjd_first, double mjd_last, Environment& environment) {
    if (g_num_eph_record != 0) return;
    constexpr double kLength = 32.0;  ///< of a record [day]
    EPH_HEADER_JPL& header = *environment.jpl_header;
    EPH_RECORD_JPL* records = environment.jpl_records.get();
    header = EPH_HEADER_JPL{};
    load_eph_header_default(&header);
    // Series of three bodies; all others have none. The barycentre of Earth and Moon is placed so that the Earth rests at the origin.
    std::memset(header.ipt, 0, sizeof header.ipt);
    const int layout[3][4] = {{EM_BARY, 3, 13, 8}, {MOON, 315, 13, 8}, {SUN, 627, 11, 2}};
    header.ss[0] = std::floor(mjd_first) - 1.0 + kMjdToJd;
    int count = 0;
    for (double start = header.ss[0]; start < mjd_last + 1.0 + kMjdToJd && count < MAXNUM_RECORD_JPLEPH;
         start += kLength) {
        EPH_RECORD_JPL& record = records[count++];
        record.index = count;
        record.coef_num = NUM_COEF_JPLEPH;
        record.chebychev_coef[0] = start;
        record.chebychev_coef[1] = start + kLength;
        for (const auto& [body, first, terms, parts] : layout) {
            const double scale = body == EM_BARY ? 1e-3 / (header.emrat + 1.0) : 1e-3;
            for (int part = 0; part < parts; ++part) {
                const double length = kLength / parts;
                fit_chebyshev(
                    start + part * length, length, terms,
                    [&, body = body](double jd) {
                        Vector3 of_date{};
                        compute_pos_sun_moon_eci(jd - kMjdToJd, body == SUN ? of_date.data() : nullptr,
                                                 body == SUN ? nullptr : of_date.data());
                        const Vector3 metres = from_mean_of_date(jd, of_date);
                        return Vector3{metres[0] * scale, metres[1] * scale, metres[2] * scale};
                    },
                    record.chebychev_coef + first - 1 + part * terms * 3);
            }
        }
    }
    for (const auto& row : layout) std::copy_n(row + 1, 3, header.ipt[row[0]]);
    header.ss[1] = records[count - 1].chebychev_coef[1];
    header.ss[2] = kLength;
    g_eph_header = &header;
    g_ephData_storage = records;
    g_num_eph_record = count;
}

}  // namespace host
