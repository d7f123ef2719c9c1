/// \file fuzz_laser_ranging.cpp
/// Laser ranging files: each line by the reader of its identifier, in both versions and in the one that the file sets;
/// the first line by the text helpers as well, with table sizes and lengths from its first two bytes. Lines and records
/// lie in memory of exactly their size.
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "observation_laser_ranging.h"

namespace {

using Reader = void (*)(char*);

template <auto read, typename Record>
void into_record(char* line) {
    const auto record = std::make_unique<Record>();
    read(line, record.get());
}

template <auto read>
void alone(char* line) {
    read(line);
}

struct Kind {
    char id[3];
    Reader read;
};

constexpr Kind kKinds[] = {{"H1", into_record<read_h1, rh1>},
                           {"H2", into_record<read_h2, rh2>},
                           {"H3", into_record<read_h3, rh3>},
                           {"H4", into_record<read_h4, rh4>},
                           {"H5", into_record<read_h5, rh5>},
                           {"H8", alone<read_h8>},
                           {"H9", alone<read_h9>},
                           {"C0", into_record<read_c0, rc0>},
                           {"C1", into_record<read_c1, rc1>},
                           {"C2", into_record<read_c2, rc2>},
                           {"C3", into_record<read_c3, rc3>},
                           {"C4", into_record<read_c4, rc4>},
                           {"C5", into_record<read_c5, rc5>},
                           {"C6", into_record<read_c6, rc6>},
                           {"C7", into_record<read_c7, rc7>},
                           {"10", into_record<read_10, rd10>},
                           {"11", into_record<read_11, rd11>},
                           {"12", into_record<read_12, rd12>},
                           {"20", into_record<read_20, rd20>},
                           {"21", into_record<read_21, rd21>},
                           {"30", into_record<read_30, rd30>},
                           {"40", into_record<read_40, rd40>},
                           {"41", into_record<read_41, rd40>},
                           {"42", into_record<read_42, rd42>},
                           {"50", into_record<read_50, rd50>},
                           {"60", into_record<read_60, rd60>},
                           {"93", into_record<read_9x, rd9x>},
                           {"00", into_record<read_00, rd00>}};

/// A text in memory of exactly its size, terminator included.
std::unique_ptr<char[]> exact(const std::string& text) {
    auto copy = std::make_unique<char[]>(text.size() + 1);
    std::memcpy(copy.get(), text.c_str(), text.size() + 1);
    return copy;
}

void use_helpers(const std::string& line, int rows, int cols) {
    char separators[] = " \n";
    const std::size_t size = rows > 0 && cols > 0 ? static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols) : 0;
    const auto table = std::make_unique<char[]>(size);
    tokenize(exact(line).get(), separators, rows, cols, table.get());
    int i = 0;
    double d = 0.0;
    long double ld = 0.0L;
    for (int row = 0; size != 0 && row < rows; ++row) {
        char* token = table.get() + row * cols;
        readi(token, &i);
        readd(token, &d);
        readld(token, &ld);
        isna(token);
        strcasecmp(token, table.get());
    }
    readld(exact(line).get(), &ld);
    remove_blanks(exact(line).get(), rows);
    remove_blanks(exact(line).get(), static_cast<int>(line.size()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) return 0;
    const auto rows = static_cast<signed char>(data[0]);
    const auto cols = static_cast<signed char>(data[1]);
    const std::string text(reinterpret_cast<const char*>(data), size);
    format_version = 0;
    int lines = 0;
    for (std::size_t start = 0; start < text.size();) {
        std::size_t end = text.find('\n', start);
        end = end == std::string::npos ? text.size() : end + 1;
        const std::string line = text.substr(start, end - start).c_str();
        start = end;
        if (lines++ == 0) use_helpers(line, rows, cols);
        for (const Kind& kind : kKinds) {
            if (line.size() < 2 || strcasecmp(exact(line.substr(0, 2)).get(), kind.id) != 0) continue;
            const int version = format_version;
            for (int tried : {1, 2, version}) {
                format_version = tried;
                kind.read(exact(line).get());
            }
            if (std::strcmp(kind.id, "H1") != 0) format_version = version;
        }
    }
    return 0;
}
