/// \file navigation.h
/// RINEX navigation files as the library takes them: whole records of GPS and BeiDou, of the messages that it knows.
#ifndef LEOPOD_HOST_NAVIGATION_H
#define LEOPOD_HOST_NAVIGATION_H

#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "gtime.h"
#include "inputs/spans.h"

namespace host {

/// A record of GPS or BeiDou.
struct NavigationRecord {
    char system = ' ';
    int prn = 0;
    GTime epoch{};  ///< of its clock, to a quarter of a minute
    std::vector<std::string> lines;
};

/// A file with its records. Throws InputError where it can't be read.
class NavigationFile {
  public:
    explicit NavigationFile(const std::string& name);
    const std::string& name() const { return name_; }
    const std::vector<NavigationRecord>& records() const { return records_; }
    /// Times of all records, of those that are left out later too.
    const FileSpan& span() const { return span_; }
    /// Leaves out records farther than some seconds from a span.
    void keep_around(const GTime& first, const GTime& last, double seconds);
    /// Leaves out records that came before, whose first lines are in the set.
    void drop_repeated(std::set<std::string>& seen);
    bool is_version_2() const { return version_ < 3.0; }
    /// True for a file of version 2 with a year that the library doesn't complete, such as 99.
    bool has_short_years() const;
    void turn_into_version_3();
    /// True where the text isn't the file itself.
    bool is_changed() const { return is_changed_ || damaged_ + far_ + repeated_ > 0 || version_ >= 4.0; }
    /// A file of the records alone.
    std::string text() const;
    /// What is left out, in words; empty for nothing.
    std::string left_out() const;

  private:
    bool line();
    bool starts_record() const;
    void read_header();
    void read_message();
    void read_ionosphere();
    void read_record();
    bool read_first_line(NavigationRecord& record) const;
    bool has_numbers(const NavigationRecord& record) const;

    std::string name_;
    std::ifstream in_;
    std::string line_;
    bool again_ = false;  ///< the line at hand is to be read once more
    bool in_records_ = false;
    double version_ = 0;
    std::vector<std::string> header_;
    std::vector<NavigationRecord> records_;
    FileSpan span_;
    std::string message_;                   ///< of version 4: what the lines at hand are
    std::map<std::string, long> messages_;  ///< that the library does not know
    std::vector<double> ionosphere_;  ///< coefficients of GPS where the header doesn't have them as version 3 does
    long damaged_ = 0, far_ = 0, repeated_ = 0;
    bool is_changed_ = false;
};

}  // namespace host

#endif
