/// \file csv.h
/// Rows of a CSV file by the names of its columns.
#ifndef LEOPOD_HOST_CSV_H
#define LEOPOD_HOST_CSV_H

#include <fstream>
#include <string>
#include <string_view>
#include <vector>

namespace host {

class CsvReader {
  public:
    /// Opens a file and reads its header, the first line that is not empty and no comment (#). Throws InputError.
    explicit CsvReader(const std::string& file);

    const std::vector<std::string>& names() const { return names_; }
    bool has(const std::string& name) const { return find(name) >= 0; }
    /// Place of a column, or -1.
    int find(const std::string& name) const;
    /// Place of a column; throws InputError with the columns that there are and the hint where it is missing.
    int require(const std::string& name, const std::string& hint) const;

    /// Goes to the next row that is not empty; false at the end.
    bool next();
    /// A field of the row; empty where the row or the file (-1) does not have it.
    std::string_view text(int column) const;
    /// A number; not finite where there is none.
    double number(int column) const;

  private:
    void split(std::vector<std::string_view>& fields) const;

    std::string file_, line_;
    std::ifstream in_;
    std::vector<std::string> names_;
    std::vector<std::string_view> fields_;
};

}  // namespace host

#endif
