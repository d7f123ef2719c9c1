/// \file crd_session.h
/// A session of a laser ranging file: its header, its counts, and the dates of its records.
#ifndef LEOPOD_HOST_CRD_SESSION_H
#define LEOPOD_HOST_CRD_SESSION_H

#include <map>
#include <optional>
#include <string>

#include "observation_laser_ranging.h"

namespace host {

/// Day and second of day, the latter in the precision of the records.
struct Epoch {
    long mjd;
    long double sec_of_day;
};
bool operator<(const Epoch& a, const Epoch& b);

/// ISO text with up to 12 decimals. Seconds of day from 86400 on are second 60 of the last minute.
std::string epoch_text(const Epoch& epoch, int decimals);

/// Calendar date and time; nothing where a part is missing or out of range.
std::optional<Epoch> epoch_of(int year, int month, int day, int hour, int minute, int second);

struct Session {
    std::string file;
    long line = 0;  ///< of its first record
    int version = 0;
    rh2 station{};
    rh3 target{};
    std::optional<rh4> header;
    std::optional<Epoch> start, end;      ///< as H4 has them
    std::map<std::string, long> records;  ///< by identifier
    long failed = 0;                      ///< fields
    long undated = 0;                     ///< records with a second of day and no date
    long ranges = 0;                      ///< records 10 and 11
    std::optional<Epoch> first, last;     ///< of the dated ones

    void set_header(const rh4& r);
    /// Date of a record of this kind. The day is the one that puts it into the session or nearest to it: records before
    /// the session's start or behind midnight find theirs, in whatever order the kinds stand. In a session of more than
    /// a day it is the first such day on which the records of the kind go on. Where the header has no end it is the one
    /// nearest to the last record of the kind. Nothing without a start, or for a second that no day has.
    std::optional<Epoch> date(const std::string& kind, long double sec_of_day);

  private:
    long double latest_ = 0.0L;                    ///< latest record, in seconds from the first midnight
    std::map<std::string, long double> previous_;  ///< last record of each kind, likewise
};

/// True behind an H1 of version 1 or 2.
bool is_supported(const rh1& r);
/// What the sessions behind an H1 start from: neither station nor target.
Session session_behind(const rh1& r, const std::string& file);

}  // namespace host

#endif
