/// \file tle.cpp
/// Two-line element sets: files, name lists, propagation with the near-earth SGP4 model, and its frames.
#include "tle.h"

#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "earth_rotation_param.h"
#include "iau_function.h"
#include "iers_function.h"
#include "mathlib.h"
#include "private/constants.h"
#include "private/lines.h"
#include "private/memory.h"
#include "private/numbers.h"
#include "private/nutation.h"
#include "private/print.h"
#include "private/report.h"
#include "private/text.h"

using namespace leopod;

namespace {

// --- files -----------------------------------------------------------------------------------------------------------

constexpr int kMaxLine = 255;             ///< characters of a line that count
constexpr std::size_t kName = 31;         ///< characters of a name
constexpr std::size_t kElementLine = 69;  ///< characters of an element line, checksum included
constexpr std::size_t kSatno = 5;         ///< characters of a catalogue number

/// Fixed columns of a line without trailing blanks; out takes width + 1 characters.
void text_field(const char* line, std::size_t start, std::size_t width, char* out) {
    copy_field(line, start, width, out);
    chop(out);
}

/// Lines of a file up to 255 characters, without what follows a "#". The rest of a longer line is dropped.
class Lines {
  public:
    explicit Lines(const char* name) : file_(open_text(name)), reader_{file_.get(), name} {
        reader_.warned = true;  // the limit of this reader is lower, and the warning is its own
    }

    bool is_open() const { return file_ != nullptr; }

    bool next(char (&line)[kLineSize]) {
        if (!read_line(reader_, line)) return false;
        line[std::strcspn(line, "#")] = '\0';
        if (std::strcspn(line, "\n") > kMaxLine) {
            warn_limit(warned_, reader_.name, kMaxLine, "characters in a line");
            line[kMaxLine] = '\0';
        }
        return true;
    }

  private:
    File file_;
    LineReader reader_;
    bool warned_ = false;
};

void sort_by_name(tle_t* tle) {
    if (tle->n > 0) std::qsort(tle->data, static_cast<std::size_t>(tle->n), sizeof(tled_t), cmp_tle_data);
}

}  // namespace

void chop(char* buff) {
    std::size_t n = std::strlen(buff);
    while (n > 0 && (buff[n - 1] == ' ' || buff[n - 1] == '\r' || buff[n - 1] == '\n')) buff[--n] = '\0';
}

double str2num(const char* s, int i, int n) {
    constexpr int kWidth = 256;
    if (i < 0 || n < 0 || n >= kWidth || std::strlen(s) < static_cast<std::size_t>(i)) return 0.0;
    char text[kWidth];
    copy_field(s, static_cast<std::size_t>(i), static_cast<std::size_t>(n), text);
    replace_char(text, 'd', 'E');
    replace_char(text, 'D', 'E');
    double value = 0.0;
    return scan(text, "%lf", &value) == 1 ? value : 0.0;
}

int checksum(const char* buff) {
    if (std::strlen(buff) < kElementLine) return 0;
    int sum = 0;
    for (std::size_t i = 0; i + 1 < kElementLine; ++i) {
        if (buff[i] >= '0' && buff[i] <= '9') sum += buff[i] - '0';
        if (buff[i] == '-') ++sum;
    }
    return buff[kElementLine - 1] - '0' == sum % 10;
}

int decode_line1(const char* buff, tled_t* data) {
    char letter[2];
    text_field(buff, 2, kSatno, data->satno);
    copy_field(buff, 7, 1, letter);
    data->satclass = letter[0];
    text_field(buff, 9, 8, data->desig);
    const int year = to_int(str2num(buff, 18, 2));
    const double doy = str2num(buff, 20, 12);
    data->ndot = str2num(buff, 33, 10);
    data->nddot = str2num(buff, 44, 6) * 1e-5 * std::pow(10.0, str2num(buff, 50, 2));
    data->bstar = str2num(buff, 53, 6) * 1e-5 * std::pow(10.0, str2num(buff, 59, 2));
    data->etype = to_int(str2num(buff, 62, 1));
    data->eleno = to_int(str2num(buff, 64, 4));
    data->epoch_mjd_utc = YMD2GTime(DOY2YMD(TimeDOY{year + (year >= 57 ? 1900 : 2000), doy}), tsUTC);
    data->inc = data->OMG = data->ecc = data->omg = data->M = data->n = 0.0;
    data->rev = 0;
    return 1;
}

int decode_line2(const char* buff, tled_t* data) {
    char satno[kSatno + 1];
    text_field(buff, 2, kSatno, satno);
    if (std::strcmp(satno, data->satno) != 0) {
        report(ULOG_ERROR_LEVEL, "tle satno mismatch: %s %s", data->satno, satno);
        return 0;
    }
    data->inc = str2num(buff, 8, 8);
    data->OMG = str2num(buff, 17, 8);
    data->ecc = str2num(buff, 26, 7) * 1e-7;
    data->omg = str2num(buff, 34, 8);
    data->M = str2num(buff, 43, 8);
    data->n = str2num(buff, 52, 11);
    data->rev = to_int(str2num(buff, 63, 5));
    if (!(data->n > 0.0 && data->ecc >= 0.0)) {
        report(ULOG_ERROR_LEVEL, "tle data error: %s", satno);
        return 0;
    }
    return 1;
}

int add_data(tle_t* tle, const tled_t* data) {
    if (tle->n >= tle->nmax) {
        void* grown = nullptr;
        if (tle->nmax <= INT_MAX / 2) {
            tle->nmax = tle->nmax < 1 ? 1024 : 2 * tle->nmax;
            grown = std::realloc(tle->data, static_cast<std::size_t>(tle->nmax) * sizeof(tled_t));
        }
        if (grown == nullptr) {
            report(ULOG_ERROR_LEVEL, "tle malloc error");
            std::free(tle->data);
            *tle = tle_t{};
            return 0;
        }
        tle->data = static_cast<tled_t*>(grown);
    }
    tle->data[tle->n++] = *data;
    return 1;
}

int cmp_tle_data(const void* p1, const void* p2) {
    return std::strcmp(static_cast<const tled_t*>(p1)->name, static_cast<const tled_t*>(p2)->name);
}

int tle_read(const char* file, tle_t* tle) {
    Lines lines(file);
    if (!lines.is_open()) {
        report(ULOG_WARNING_LEVEL, "tle file open error: %s\n", file != nullptr ? file : "");
        return 0;
    }
    tled_t record{};
    bool has_line1 = false;
    char line[kLineSize];
    while (lines.next(line)) {
        chop(line);
        if (line[0] == '1' && checksum(line)) {
            decode_line1(line, &record);
            has_line1 = true;
        } else if (has_line1 && line[0] == '2' && checksum(line)) {
            if (!decode_line2(line, &record)) continue;
            if (!add_data(tle, &record)) return 0;
            record.name[0] = record.alias[0] = '\0';
        } else if (line[0] != '\0') {  // settled: an element line with a wrong checksum names the next set
            copy_field(line, 0, kName, record.name);
            record.name[std::strcspn(record.name, "(")] = '\0';
            chop(record.name);
            has_line1 = false;
        }
    }
    sort_by_name(tle);
    return 1;
}

int tle_name_read(const char* file, tle_t* tle) {
    Lines lines(file);
    if (!lines.is_open()) {
        report(ULOG_WARNING_LEVEL, "tle satellite name file open error: %s\n", file != nullptr ? file : "");
        return 0;
    }
    char line[kLineSize];
    while (lines.next(line)) {
        char name[kMaxLine + 1] = {};
        char satno[kMaxLine + 1] = {};
        char desig[kMaxLine + 1] = {};
        if (scan(line, "%255s %255s %255s", name, satno, desig) < 2) continue;
        satno[kSatno] = '\0';
        tled_t* const end = tle->data + tle->n;
        tled_t* found = tle->data;
        while (found != end && std::strcmp(found->satno, satno) != 0 &&
               (desig[0] == '\0' || std::strcmp(found->desig, desig) != 0)) {
            ++found;
        }
        if (found != end) {
            copy_field(name, 0, kName, found->name);
        } else {
            report(ULOG_WARNING_LEVEL, "no tle data: satno=%s desig=%s\n", satno, desig);
        }
    }
    sort_by_name(tle);
    return 1;
}

// --- propagation -----------------------------------------------------------------------------------------------------

namespace {

// Lengths in Earth radii and times in minutes, as in the Report.
constexpr double kXke = 0.07436691613317;           ///< root of GM [(Earth radius)^1.5 / min]
constexpr double kEarthRadius_km = 6378.135;        ///< XKMPER
constexpr double kCk2 = 5.41308e-4;                 ///< J2 / 2
constexpr double kCk4 = 0.62098875e-6;              ///< -3 J4 / 8
constexpr double kA3ovk2 = 0.004690139440023056;    ///< -J3 / CK2
constexpr double kQoms2t = 1.880279159015271e-09;   ///< ((120 - 78) km)^4
constexpr double kS = 1.0122292801892716;           ///< 78 km
constexpr double kSimpleBelow = 1.034492841559484;  ///< perigee at 220 km
constexpr double kKeplerTolerance = 1e-8;
constexpr double kMinutes = 1440.0;  ///< of a day
constexpr double kTwoThirds = 2.0 / 3.0;

/// What depends on the elements alone; names of the Report.
struct Sgp4 {
    bool simple;  ///< ISIMP
    double xmo, omegao, xnodeo, eo, bstar;
    double xincl, cosio, sinio, x3thm1, x1mth2, x7thm1;
    double xnodp, aodp, eta;
    double c1, c4, c5, d2, d3, d4;
    double xmdot, omgdot, xnodot, xnodcf, omgcof, xmcof;
    double t2cof, t3cof, t4cof, t5cof;
    double xlcof, aycof, delmo, sinmo;
};

[[gnu::always_inline]] inline Sgp4 initialise_sgp4(const tled_t& data) {
    Sgp4 m{};
    m.xmo = data.M * kDegToRad;
    m.omegao = data.omg * kDegToRad;
    m.xnodeo = data.OMG * kDegToRad;
    m.xincl = data.inc * kDegToRad;
    m.eo = data.ecc;
    m.bstar = data.bstar;
    const double xno = data.n * 3.0300855069346e-06 * kMinutes;
    const double eo = m.eo;

    // Original mean motion and semi-major axis.
    m.cosio = std::cos(m.xincl);
    m.sinio = std::sin(m.xincl);
    const double theta2 = m.cosio * m.cosio;
    const double theta4 = theta2 * theta2;
    const double betao2 = 1.0 - eo * eo;
    const double betao = std::sqrt(betao2);
    m.x3thm1 = 3.0 * theta2 - 1.0;
    m.x1mth2 = 1.0 - theta2;
    m.x7thm1 = 7.0 * theta2 - 1.0;
    const double a1 = std::pow(kXke / xno, kTwoThirds);
    const double del1 = 1.5 * kCk2 * m.x3thm1 / (a1 * a1 * betao * betao2);
    const double ao = a1 * (1.0 - del1 * (0.5 * kTwoThirds + del1 * (1.0 + 134.0 / 81.0 * del1)));
    const double delo = 1.5 * kCk2 * m.x3thm1 / (ao * ao * betao * betao2);
    m.xnodp = xno / (1.0 + delo);
    m.aodp = ao / (1.0 - delo);

    // Density parameters by the height of perigee.
    m.simple = m.aodp * (1.0 - eo) < kSimpleBelow;
    const double perige = (m.aodp * (1.0 - eo) - 1.0) * kEarthRadius_km;
    double s4 = kS;
    double qoms24 = kQoms2t;
    if (perige < 156.0) {
        s4 = perige <= 98.0 ? 20.0 : perige - 78.0;
        qoms24 = std::pow((120.0 - s4) / kEarthRadius_km, 4.0);
        s4 = s4 / kEarthRadius_km + 1.0;
    }

    const double pinvsq = 1.0 / (m.aodp * m.aodp * betao2 * betao2);
    const double tsi = 1.0 / (m.aodp - s4);
    m.eta = m.aodp * eo * tsi;
    const double etasq = m.eta * m.eta;
    const double eeta = eo * m.eta;
    const double psisq = std::fabs(1.0 - etasq);
    const double coef = qoms24 * std::pow(tsi, 4.0);
    const double coef1 = coef / std::pow(psisq, 3.5);
    const double c2 = coef1 * m.xnodp *
                      (m.aodp * (1.0 + 1.5 * etasq + eeta * (4.0 + etasq)) +
                       0.75 * kCk2 * tsi / psisq * m.x3thm1 * (8.0 + 3.0 * etasq * (8.0 + etasq)));
    m.c1 = m.bstar * c2;
    // No division by a vanishing eccentricity: the terms that have one are left out.
    const double c3 = eo != 0.0 ? coef * tsi * kA3ovk2 * m.xnodp * m.sinio / eo : 0.0;
    m.xmcof = eeta != 0.0 ? -kTwoThirds * coef * m.bstar / eeta : 0.0;
    m.c4 = 2.0 * m.xnodp * coef1 * m.aodp * betao2 *
           (m.eta * (2.0 + 0.5 * etasq) + eo * (0.5 + 2.0 * etasq) -
            2.0 * kCk2 * tsi / (m.aodp * psisq) *
                (-3.0 * m.x3thm1 * (1.0 - 2.0 * eeta + etasq * (1.5 - 0.5 * eeta)) +
                 0.75 * m.x1mth2 * (2.0 * etasq - eeta * (1.0 + etasq)) * std::cos(2.0 * m.omegao)));
    m.c5 = 2.0 * coef1 * m.aodp * betao2 * (1.0 + 2.75 * (etasq + eeta) + eeta * etasq);

    // Secular rates.
    const double temp1 = 3.0 * kCk2 * pinvsq * m.xnodp;
    const double temp2 = temp1 * kCk2 * pinvsq;
    const double temp3 = 1.25 * kCk4 * pinvsq * pinvsq * m.xnodp;
    m.xmdot =
        m.xnodp + 0.5 * temp1 * betao * m.x3thm1 + 0.0625 * temp2 * betao * (13.0 - 78.0 * theta2 + 137.0 * theta4);
    m.omgdot = -0.5 * temp1 * (1.0 - 5.0 * theta2) + 0.0625 * temp2 * (7.0 - 114.0 * theta2 + 395.0 * theta4) +
               temp3 * (3.0 - 36.0 * theta2 + 49.0 * theta4);
    const double xhdot1 = -temp1 * m.cosio;
    m.xnodot = xhdot1 + (0.5 * temp2 * (4.0 - 19.0 * theta2) + 2.0 * temp3 * (3.0 - 7.0 * theta2)) * m.cosio;
    m.omgcof = m.bstar * c3 * std::cos(m.omegao);
    m.xnodcf = 3.5 * betao2 * xhdot1 * m.c1;
    m.t2cof = 1.5 * m.c1;
    m.xlcof = 0.125 * kA3ovk2 * m.sinio * (3.0 + 5.0 * m.cosio) / (1.0 + m.cosio);
    m.aycof = 0.25 * kA3ovk2 * m.sinio;
    m.delmo = std::pow(1.0 + m.eta * std::cos(m.xmo), 3.0);
    m.sinmo = std::sin(m.xmo);

    if (!m.simple) {
        const double c1sq = m.c1 * m.c1;
        m.d2 = 4.0 * m.aodp * tsi * c1sq;
        const double temp = m.d2 * tsi * m.c1 / 3.0;
        m.d3 = (17.0 * m.aodp + s4) * temp;
        m.d4 = 0.5 * temp * m.aodp * tsi * (221.0 * m.aodp + 31.0 * s4) * m.c1;
        m.t3cof = m.d2 + 2.0 * c1sq;
        m.t4cof = 0.25 * (3.0 * m.d3 + m.c1 * (12.0 * m.d2 + 10.0 * c1sq));
        m.t5cof = 0.2 * (3.0 * m.d4 + 12.0 * m.c1 * m.d3 + 6.0 * m.d2 * m.d2 + 15.0 * c1sq * (2.0 * m.d2 + c1sq));
    }
    return m;
}

[[gnu::always_inline]] inline void propagate_sgp4(const Sgp4& m, double tsince, double* rs) {
    // Secular gravity and drag.
    const double xmdf = m.xmo + m.xmdot * tsince;
    const double omgadf = m.omegao + m.omgdot * tsince;
    const double tsq = tsince * tsince;
    const double xnode = m.xnodeo + m.xnodot * tsince + m.xnodcf * tsq;
    double omega = omgadf;
    double xmp = xmdf;
    double tempa = 1.0 - m.c1 * tsince;
    double tempe = m.bstar * m.c4 * tsince;
    double templ = m.t2cof * tsq;
    if (!m.simple) {
        const double delomg = m.omgcof * tsince;
        const double delm = m.xmcof * (std::pow(1.0 + m.eta * std::cos(xmdf), 3.0) - m.delmo);
        xmp = xmdf + (delomg + delm);
        omega = omgadf - (delomg + delm);
        const double tcube = tsq * tsince;
        const double tfour = tsince * tcube;
        tempa = tempa - m.d2 * tsq - m.d3 * tcube - m.d4 * tfour;
        tempe += m.bstar * m.c5 * (std::sin(xmp) - m.sinmo);
        templ += m.t3cof * tcube + tfour * (m.t4cof + tsince * m.t5cof);
    }
    const double a = m.aodp * tempa * tempa;
    const double e = m.eo - tempe;
    const double xl = xmp + omega + xnode + m.xnodp * templ;
    const double beta2 = 1.0 - e * e;
    const double xn = kXke / std::pow(a, 1.5);

    // Long-period periodics.
    const double axn = e * std::cos(omega);
    const double ayn = e * std::sin(omega) + m.aycof / (a * beta2);
    const double xlt = xl + m.xlcof * axn / (a * beta2);

    // Kepler's equation. The sine and cosine stay those of the last value but one.
    const double capu = positive_turn(fmod_two_pi(xlt - xnode));
    double epw = capu;
    double sinepw = 0.0;
    double cosepw = 1.0;
    for (int i = 0; i < 10; ++i) {
        sinepw = std::sin(epw);
        cosepw = std::cos(epw);
        const double next = (capu - ayn * cosepw + axn * sinepw - epw) / (1.0 - axn * cosepw - ayn * sinepw) + epw;
        if (std::fabs(next - epw) <= kKeplerTolerance) break;
        epw = next;
    }

    // Short-period periodics.
    const double ecose = axn * cosepw + ayn * sinepw;
    const double esine = axn * sinepw - ayn * cosepw;
    const double elsq = axn * axn + ayn * ayn;
    const double pl = a * (1.0 - elsq);
    const double betal = std::sqrt(1.0 - elsq);
    const double r = a * (1.0 - ecose);
    const double rdot = kXke * std::sqrt(a) * esine / r;
    const double rfdot = kXke * std::sqrt(pl) / r;
    const double cosu = a / r * (cosepw - axn + ayn * esine / (1.0 + betal));
    const double sinu = a / r * (sinepw - ayn - axn * esine / (1.0 + betal));
    const double sin2u = 2.0 * sinu * cosu;
    const double cos2u = 2.0 * cosu * cosu - 1.0;
    const double k1 = kCk2 / pl;
    const double k2 = k1 / pl;

    // Orientation vectors. Node and inclination don't wait for the argument of latitude.
    const double xnodek = xnode + 1.5 * k2 * m.cosio * sin2u;
    const double xinck = m.xincl + 1.5 * k2 * m.cosio * m.sinio * cos2u;
    const double sinik = std::sin(xinck), cosik = std::cos(xinck);
    const double sinnok = std::sin(xnodek), cosnok = std::cos(xnodek);
    const double u = std::atan2(sinu, cosu);
    const double uk = u - 0.25 * k2 * m.x7thm1 * sin2u;
    const double sinuk = std::sin(uk), cosuk = std::cos(uk);
    const double M[3] = {-sinnok * cosik, cosnok * cosik, sinik};
    const double N[3] = {cosnok, sinnok, 0.0};

    const double rk = r * (1.0 - 1.5 * k2 * betal * m.x3thm1) + 0.5 * k1 * m.x1mth2 * cos2u;
    const double rdotk = rdot - xn * k1 * m.x1mth2 * sin2u;
    const double rfdotk = rfdot + xn * k1 * (m.x1mth2 * cos2u + 1.5 * m.x3thm1);
    for (int i = 0; i < 3; ++i) {
        const double U = M[i] * sinuk + N[i] * cosuk;
        const double V = M[i] * cosuk - N[i] * sinuk;
        rs[i] = rk * U * kEarthRadius_km * 1000.0;
        rs[3 + i] = (rdotk * U + rfdotk * V) * kEarthRadius_km * kMinutes / kDay * 1000.0;
    }
}

/// What a model depends on, as bits: what is not a number equals itself.
struct Elements {
    std::uint64_t bits[7];
};

Elements elements_of(const tled_t& data) {
    constexpr std::size_t kFirst = offsetof(tled_t, inc);  // inc to n stand side by side
    constexpr std::size_t kSize = offsetof(tled_t, n) + sizeof data.n - kFirst;
    Elements elements;
    static_assert(sizeof elements == sizeof data.bstar + kSize);
    std::memcpy(elements.bits, &data.bstar, sizeof data.bstar);
    std::memcpy(elements.bits + 1, reinterpret_cast<const char*>(&data) + kFirst, kSize);
    return elements;
}

bool operator==(const Elements& a, const Elements& b) {
    std::uint64_t different = 0;
    for (std::size_t i = 0; i < std::size(a.bits); ++i) different |= a.bits[i] ^ b.bits[i];
    return different == 0;
}

/// Models of the last element sets. A model is kept from the second call with its set on: a catalogue too large for the room, where no set
/// comes back in time, pays for none.
class Models {
  public:
    /// The model of a set; null at its first call.
    const Sgp4* of(const tled_t& data) {
        const Elements elements = elements_of(data);
        if (!holds(last_, elements)) {
            Kept* const before = last_;
            last_ = before != nullptr && holds(before->next, elements) ? before->next : &room_of(elements);
            if (before != nullptr) before->next = last_;
            if (!holds(last_, elements)) {
                last_->elements = elements;
                last_->state = Kept::kSeen;
                return nullptr;
            }
        }
        if (last_->state != Kept::kPrepared) last_->model = initialise_sgp4(data);
        last_->state = Kept::kPrepared;
        return &last_->model;
    }

  private:
    struct Kept {
        Elements elements;
        Kept* next;  ///< came after this one the last time: a catalogue comes in the same order again
        enum : unsigned { kEmpty, kSeen, kPrepared } state;
        Sgp4 model;
    };
    struct Pair {
        Kept sets[2];
        unsigned older;
    };
    static constexpr int kBits = 7;  // of the pairs' number

    static bool holds(const Kept* kept, const Elements& elements) {
        return kept != nullptr && kept->elements == elements;
    }

    /// Where a set is, or the older one of the two that it may take the place of.
    Kept& room_of(const Elements& elements) {
        std::uint64_t sum = 0;
        for (std::size_t i = 0; i < std::size(elements.bits); ++i) {
            sum += elements.bits[i] * (0x9e3779b97f4a7c15 + 0x85ebca6b2c1b3c6e * i);
        }
        Pair& pair = pairs_[(sum ^ sum >> 32) * 0x9e3779b97f4a7c15 >> (64 - kBits)];
        for (Kept& kept : pair.sets) {
            if (kept.elements == elements) return kept;
        }
        Kept& older = pair.sets[pair.older];
        pair.older ^= 1U;
        return older;
    }

    Kept* last_ = nullptr;
    Pair pairs_[1U << kBits] = {};
};

}  // namespace

// settled: one model for all periods, without deep-space terms, and no test of eccentricity or decay
void SGP4_STR3(double tsince, const tled_t* data, double* rs) {
    thread_local Models models;
    if (const Sgp4* const model = models.of(*data); model != nullptr) {
        propagate_sgp4(*model, tsince, rs);
    } else {
        propagate_sgp4(initialise_sgp4(*data), tsince, rs);
    }
}

int tle2xyz(const tled_t* tledata, GTime time_utc, double* pos_vel_teme) {
    const GTime since = gtimeSub(time_utc, tledata->epoch_mjd_utc);
    SGP4_STR3((since.time.sod + static_cast<double>(since.time.mjd) * kDay) / 60.0, tledata, pos_vel_teme);
    const double* const rv = pos_vel_teme;
    // settled: printed with each call
    print(stdout, "rv_TEME: %14.6lf %14.6lf %14.6lf %14.6lf %14.6lf %14.6lf \n", rv[0], rv[1], rv[2], rv[3], rv[4],
          rv[5]);
    return 0;
}

// --- frames ----------------------------------------------------------------------------------------------------------

namespace {

void print_state(const char* label, const double* pos, const double* vel) {
    print(stdout, "%s: %14.6f %14.6f %14.6f %14.6f %14.6f %14.6f\n", label, pos[0], pos[1], pos[2], vel[0], vel[1],
          vel[2]);
}

}  // namespace

void polarm(double xp, double yp, double jc_tt, double** pm) {
    double rpom[3][3];
    iauPom00(xp, yp, -47e-6 * jc_tt * kArcsecToRad, rpom);
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) pm[i][j] = rpom[i][j];
    }
}

// settled: named for the inverse of what it gives, as polarm gives it
void rotation_ecef2pef(double mjd_utc, double leapsec, double /*ut1mutc*/, double pmx, double pmy, double* Rm) {
    const double mjd_utc_I = std::trunc(mjd_utc);
    const double jd_tt_F = (leapsec + kTtMinusTai) / kDay + (mjd_utc - mjd_utc_I);
    double rpom[3][3];
    iauPom00(pmx * kArcsecToRad, pmy * kArcsecToRad, iauSp00(mjd_utc_I + kMjdToJd, jd_tt_F), rpom);
    std::memcpy(Rm, rpom, sizeof rpom);
}

void teme2ecef(double mjd_utc, double /*leapsec*/, double ut1mutc, double pmx, double pmy, double lod,
               double /*dOMEGA*/, double* xyz_teme, double* vel_teme, double* xyz_ecf, double* vel_ecf) {
    const double xp = pmx * kArcsecToRad;
    const double yp = pmy * kArcsecToRad;
    const double cx = std::cos(xp), sx = std::sin(xp);
    const double cy = std::cos(yp), sy = std::sin(yp);
    double R_pm[9] = {cx, 0.0, -sx, sx * sy, cy, cx * sy, sx * cy, -sy, cx * cy};

    // settled: mean sidereal time, without the equation of the equinoxes; the date in UT1 is one number
    const double mjd_utc_I = std::trunc(mjd_utc);
    const double mjd_utc_F = mjd_utc - mjd_utc_I;
    const double gmst = fmod_two_pi(gstime_iau82(mjd_utc_I + kMjdToJd + ut1mutc / kDay + mjd_utc_F));
    const double c = std::cos(gmst), s = std::sin(gmst);
    double ST[9] = {c, -s, 0.0, s, c, 0.0, 0.0, 0.0, 1.0};

    double ST_t[9], R_pm_t[9];
    double xyz_pef[3], vel_pef[3], omgxr[3];
    matrixTranspose(3, 3, ST, ST_t);
    matrixTranspose(3, 3, R_pm, R_pm_t);
    matrixMultiply(3, 3, ST_t, 1, xyz_teme, xyz_pef);
    matrixMultiply(3, 3, ST_t, 1, vel_teme, vel_pef);
    const double omegaearth[3] = {0.0, 0.0, 7.292115e-05 * (1.0 - lod / kDay)};  // era_rate [rad/s]
    crossproduct(3, 3, omegaearth, xyz_pef, omgxr);
    for (int i = 0; i < 3; ++i) vel_pef[i] -= omgxr[i];
    matrixMultiply(3, 3, R_pm_t, 1, xyz_pef, xyz_ecf);
    matrixMultiply(3, 3, R_pm_t, 1, vel_pef, vel_ecf);
}

void tle_test(void) {
    constexpr char kFile[] = "testdata/finals.data.iau2000.txt";
    constexpr char kLine1[] = "1 00005U 58002B   00179.78495062  .00000023  00000-0  28098-4 0  4753";
    constexpr char kLine2[] = "2 00005  34.2682 348.7242 1859667 331.7664  19.3264 10.82419157413667";
    Memory memory("tle_test");
    const Work<EOPREC> store(memory, MAXSIZE_EOP + 1);
    if (memory.missing()) return;
    initialize_global_earth_rotation_param();
    g_eop_storage = store.data();
    char name[sizeof kFile];
    std::memcpy(name, kFile, sizeof kFile);
    if (load_eop_storage_rapid(name)) {
        std::printf("hello-a");  // settled: without a newline
        tled_t data{};
        decode_line1(kLine1, &data);
        decode_line2(kLine2, &data);
        const GTime time = YMD2GTime(TimeYMD{2000, 6, 30, 18, 50, 19.733567999}, tsUTC);
        double teme[6], ecf[6], eci[6], again[6];
        tle2xyz(&data, time, teme);

        const double mjd_utc = gtime2mjd(time);
        const double leap = TAImUTC(time);
        EOPREC eop{};  // stays zero outside the dates of the file
        compute_eop(mjd_utc, &eop);
        teme2ecef(mjd_utc, leap, eop.UT1mUTC, eop.pmX, eop.pmY, eop.LOD, eop.dOMEGA, teme, teme + 3, ecf, ecf + 3);
        print_state("rv_ecf", ecf, ecf + 3);
        ecf2eci(mjd_utc, leap, ecf, ecf + 3, eci, eci + 3);
        print_state("rv_eci", eci, eci + 3);
        eci2ecf(mjd_utc, leap, eci, eci + 3, again, again + 3);
        print_state("rv_ecf_test", again, again + 3);
    } else {
        report(ULOG_ERROR_LEVEL, "tle_test(): no earth orientation from %s, nothing is propagated", kFile);
    }
    initialize_global_earth_rotation_param();
}
