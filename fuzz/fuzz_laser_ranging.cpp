/// \file fuzz_laser_ranging.cpp
/// Laser ranging files: each line by the reader of its identifier, in both versions and in the one that the file sets;
/// the first line by the text helpers as well, with table sizes and lengths from its first two bytes. Lines and records
/// lie in memory of exactly their size.
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "../tests/crd_readers.h"

namespace {

struct Kind {
    std::string id;
    void (*read)(char* line);
};

const std::vector<Kind> kKinds = [] {
    std::vector<Kind> all = {{"H8", [](char* line) { read_h8(line); }}, {"H9", [](char* line) { read_h9(line); }}};
    const auto add = [&all](const char* id, auto reader) {
        all.push_back({id, [](char* line) {
                           const auto record = std::make_unique<typename decltype(reader)::Record>();
                           decltype(reader)::read(line, record.get());
                       }});
    };
    support::each_crd_reader(add);
    add("93", support::CrdReader<read_9x, rd9x>{});
    return all;
}();

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
            if (line.size() < 2 || strcasecmp(exact(line.substr(0, 2)).get(), kind.id.data()) != 0) continue;
            const int version = format_version;
            for (int tried : {1, 2, version}) {
                format_version = tried;
                kind.read(exact(line).get());
            }
            if (kind.id != "H1") format_version = version;
        }
    }
    return 0;
}
