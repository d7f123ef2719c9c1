/// \file csv.h
/// Rows of a CSV file by the names of its columns.
#ifndef LEOPOD_HOST_CSV_H
#define LEOPOD_HOST_CSV_H

#include <fstream>
#include <string>
#include <string_view>
#include <vector>

namespace host {

/// Fields of a line between commas, without blanks around them; a field in quotes may hold commas.
std::vector<std::string_view> csv_fields(std::string_view line);

/// Reads a text that is a finite number and nothing else. False where it is none.
bool parse_number(std::string_view text, double& value);

class CsvReader {
  public:
    enum Head { NAMES, NAMES_OR_NUMBERS };

    /// Opens a file and reads its header, the first line that is not empty and no comment (#). Where numbers alone will do, a file
    /// without a header has them as names, and that line is its first row as well. Throws InputError.
    explicit CsvReader(const std::string& file, Head head = NAMES);

    const std::vector<std::string>& names() const { return names_; }
    bool has(const std::string& name) const { return find(name) >= 0; }
    /// Place of a column, or -1.
    int find(const std::string& name) const;
    /// Place of a column; throws InputError with the columns that there are and the hint where it is missing.
    int require(const std::string& name, const std::string& hint) const;

    /// Goes to the next row that is not empty; false at the end.
    bool next();
    /// The row as it stands in the file, and its number there.
    const std::string& line() const { return line_; }
    long line_number() const { return line_number_; }
    /// Fields of the row.
    int columns() const { return static_cast<int>(fields_.size()); }
    /// A field of the row; empty where the row or the file (-1) does not have it.
    std::string_view text(int column) const;
    /// A number; not finite where there is none.
    double number(int column) const;

  private:
    std::string file_, line_;
    std::ifstream in_;
    long line_number_ = 0;
    std::vector<std::string> names_;
    std::vector<std::string_view> fields_;
};

}  // namespace host

#endif
