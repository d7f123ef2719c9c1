/// \file crd_lines.h
/// Lines of a laser ranging file, as the library's readers of records take them.
#ifndef LEOPOD_HOST_CRD_LINES_H
#define LEOPOD_HOST_CRD_LINES_H

#include <fstream>
#include <string>
#include <type_traits>
#include <utility>

#include "inputs/crd_records.h"

namespace host {

std::string crd_upper(std::string text);

/// A line as the library takes it: a blank for each tab, carriage return and null byte, and none at the ends.
std::string cleaned_crd(std::string line);

/// The identifier of a cleaned line, in capitals.
std::string crd_identifier(const std::string& line);

/// Whether a record of version 1 is read by the rules of version 2: what version 1 takes from columns or by one scan is read by tokens
/// where the columns are not kept, and where "na" would end the scan.
bool crd_reads_by_tokens(const std::string& id, const std::string& line, bool has_fixed_columns);

/// Opens a file whose first H1 can be read; throws InputError for any other.
std::ifstream open_crd(const std::string& name);

/// Reads a record; the fields that failed keep the mark of unread().
template <auto read, typename Record>
Record read_crd_record(const std::string& id, std::string line, bool& by_tokens) {
    constexpr bool kFixedColumns = std::is_same_v<Record, rh2> || std::is_same_v<Record, rh3>;
    Record r = unread<Record>();
    by_tokens = format_version == 1 && crd_reads_by_tokens(id, line, kFixedColumns);
    if (by_tokens) format_version = 2;
    read(line.data(), &r);
    if (by_tokens) format_version = 1;
    if constexpr (std::is_same_v<Record, rh3>) {
        if (by_tokens) r.target_type = std::exchange(r.target_class, kMarkInt);  // the sixth token either way
    }
    return r;
}

}  // namespace host

#endif
