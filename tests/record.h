/// \file record.h
/// A record of what the library computes: numbers of one name are summed with a weight each, and the sums compared with those of a file.
/// Records of the interface are taken field by field, by the list of their fields. LEOPOD_RECORD=1 writes the file anew.
#ifndef LEOPOD_TESTS_RECORD_H
#define LEOPOD_TESTS_RECORD_H

#include <cmath>
#include <cstring>
#include <functional>
#include <set>
#include <type_traits>

#include "support.h"

namespace support {

using Values = std::vector<double>;
using Integers = std::vector<int>;

class Record {
  public:
    explicit Record(const std::string& name) : file_(std::string(LEOPOD_SOURCE_DIR) + "/tests/record/" + name) {
        std::ifstream list(LEOPOD_SOURCE_DIR "/tests/interface/records.txt");
        std::vector<Field>* fields = nullptr;
        for (std::string line; std::getline(list, line);) {
            std::stringstream words(line);
            std::string first, second;
            if (line.empty()) continue;
            if (line[0] != ' ') {
                words >> first >> second;
                std::size_t size = 0;
                fields = words >> first >> size ? &records_[second].fields : nullptr;
                if (fields != nullptr) records_[second].size = size;
            } else if (Field f; fields != nullptr && words >> f.offset >> f.size >> f.name) {
                for (std::getline(words >> std::ws, f.type, '['); std::getline(words, first, ']'); words.ignore(1))
                    f.count *= std::stoul(first);
                fields->push_back(f);
            }
        }
    }

    void number(const std::string& name, double value) {
        Sum& sum = sums_[name];
        double whole;
        const double weight = 1.0 + std::modf(0.6180339887498949 * static_cast<double>(++sum.count), &whole);
        const double term = weight * (std::isnan(value)          ? 77.0
                                      : std::fabs(value) < 1e300 ? value
                                      : value > 0.0              ? 78.0
                                                                 : 79.0);
        sum.value += term;
        sum.scale += std::fabs(term);
    }
    void text(const std::string& name, const std::string& words) {
        for (const char c : words) number(name, c);
        number(name, 0.0);
    }
    /// A record of the interface, or an array of them, by the name of its type.
    void record(const std::string& name, const std::string& type, const void* where, std::size_t count = 1) {
        const auto* const bytes = static_cast<const char*>(where);
        const auto found = records_.find(type);
        if (found == records_.end()) return values(name, type, bytes, count);
        for (std::size_t i = 0; i < count; ++i)
            for (const Field& f : found->second.fields)
                if (f.type.back() != '*' && skipped.count(f.name) == 0)
                    field(name + "." + f.name, f, bytes + i * found->second.size);
    }
    /// Calls a function and takes what it returns and what its arrays hold then. Arrays are copies: inputs stay.
    template <class R, class... P, class... A>
    void operator()(const std::string& name, R (*function)(P...), A... arguments) {
        if constexpr (std::is_void_v<R>) {
            function(pass<P>(arguments)...);
        } else {
            const R result = function(pass<P>(arguments)...);
            if constexpr (std::is_arithmetic_v<R> || std::is_enum_v<R>) {
                number(name, static_cast<double>(result));
            } else {
                record(name, type_of(result), &result);
            }
        }
        int place = 0;
        (take(name + " " + std::to_string(++place), arguments), ...);
    }
    /// Everything said since the recorder was made, by level: words, and the numbers in them.
    void messages() {
        for (const Message& m : LogRecorder::messages()) {
            const std::string level = "said at level " + std::to_string(m.level);
            const std::size_t place = m.text.find("()<");  // behind the line of the source
            for (const char* c = m.text.c_str() + (place != m.text.npos ? place : 0); *c != '\0'; ++c) {
                char* end = nullptr;
                const double value = *c == '-' || (*c >= '0' && *c <= '9') ? std::strtod(c, &end) : 0.0;
                if (*c != ' ') number(level + (end > c ? " numbers" : ""), end > c ? value : *c);
                if (end > c) c = end - 1;
            }
        }
        LogRecorder::messages().clear();
    }
    /// Holds the sums against the file.
    void compare(double tolerance) const {
        if (std::getenv("LEOPOD_RECORD") != nullptr) {
            std::ofstream out(file_);
            char line[80];
            for (const auto& [name, sum] : sums_) {
                std::snprintf(line, sizeof line, "%ld %.17g", sum.count, sum.value);
                out << line << ' ' << name << '\n';
            }
            std::fprintf(stderr, "recorded: %s\n", file_.c_str());
            return;
        }
        std::ifstream in(file_);
        std::map<std::string, Sum> wanted;
        Sum sum;
        for (std::string name; in >> sum.count >> sum.value && std::getline(in.ignore(1), name);) wanted[name] = sum;
        EXPECT_EQ(wanted.size(), sums_.size());
        for (const auto& [name, was] : wanted) {
            const auto now = sums_.find(name);
            ASSERT_NE(now, sums_.end()) << name;
            EXPECT_EQ(now->second.count, was.count) << name;
            EXPECT_NEAR(now->second.value, was.value, tolerance * now->second.scale) << file_ << ": " << name;
        }
    }

    double total() const {
        double all = 0.0;
        for (const auto& [name, sum] : sums_) all = 0.5 * all + sum.value;
        return all;
    }
    template <class T>
    static std::string type_of(const T&) {
        const std::string words = __PRETTY_FUNCTION__;  // "... [with T = GTime; ...]"
        const std::size_t start = words.find("T = ") + 4;
        return words.substr(start, words.find_first_of(";]", start) - start);
    }
    std::set<std::string> skipped;  ///< names of fields that are left out

  private:
    struct Field {
        std::size_t offset = 0, size = 0, count = 1;
        std::string name, type;
    };
    struct Kind {
        std::size_t size = 0;
        std::vector<Field> fields;
    };
    struct Sum {
        long count = 0;
        double value = 0.0, scale = 0.0;
    };

    void field(const std::string& name, const Field& f, const char* bytes) {
        if (f.type == "char" && f.count > 1)
            return text(name, std::string(bytes + f.offset, strnlen(bytes + f.offset, f.count)));
        record(name, f.type, bytes + f.offset, f.count);
    }
    void values(const std::string& name, const std::string& type, const char* bytes, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            const auto at = [&](auto value) {
                std::memcpy(&value, bytes + i * sizeof value, sizeof value);
                number(name, static_cast<double>(value));
            };
            if (type == "double")
                at(0.0);
            else if (type == "long double")
                at(0.0L);
            else if (type == "long int")
                at(0L);
            else if (type == "bool" || type == "char")
                at('\0');
            else
                at(0);  // integers and enumerators
        }
    }
    template <class P, class A>
    static P pass(A& argument) {
        if constexpr (std::is_same_v<A, Values> || std::is_same_v<A, Integers> || std::is_same_v<A, std::string>) {
            return reinterpret_cast<P>(argument.data());
        } else if constexpr (std::is_pointer_v<P> && std::is_class_v<A>) {
            return &argument;
        } else {
            return static_cast<P>(argument);
        }
    }
    template <class A>
    void take(const std::string& name, const A& argument) {
        if constexpr (std::is_same_v<A, Values> || std::is_same_v<A, Integers>) {
            for (std::size_t i = 0; i < argument.size(); ++i)
                number(argument.size() < 10 ? name + char('a' + i) : name, static_cast<double>(argument[i]));
        } else if constexpr (std::is_same_v<A, std::string>) {
            text(name, argument.c_str());
        } else if constexpr (std::is_class_v<A>) {
            record(name, type_of(argument), &argument);
        }
    }

    std::string file_;
    std::map<std::string, Kind> records_;
    std::map<std::string, Sum> sums_;
};

}  // namespace support

#endif
