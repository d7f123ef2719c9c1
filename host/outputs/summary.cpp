#include "outputs/summary.h"

#include <cmath>
#include <nlohmann/json.hpp>

#include "shared/files.h"
#include "shared/printable.h"
#include "shared/times.h"
#include "shared/version.h"

namespace host {

namespace {

constexpr int kLayout = 1;  ///< grows when a name or its meaning changes

using Json = nlohmann::ordered_json;

Json& at(Json& root, const std::string& path) { return root[Json::json_pointer("/" + path)]; }

Json number(double value) { return std::isfinite(value) ? Json(value) : Json(nullptr); }

}  // namespace

Summary::Summary(const std::string& command, const std::string& file, std::vector<Input> inputs,
                 const Settings& settings)
    : file_(file), inputs_(std::move(inputs)), json_(std::make_unique<Json>()) {
    const Version v = version();
    set("layout_version", kLayout);
    set("command", command);
    set("status", 0);
    set("program/version", v.number);
    set("program/commit", v.commit);
    set("program/compiler", v.compiler);
    set("program/options", v.options);
    Json& chosen = at(*json_, "settings") = Json::object();
    for (const auto& [name, values] : settings) {
        if (values.size() == 1) {
            chosen[name] = printable(values.front());
        } else {
            chosen[name] = Json::array();
            for (const std::string& value : values) chosen[name].push_back(printable(value));
        }
    }
}

Summary::~Summary() = default;
Summary::Summary(Summary&&) noexcept = default;

void Summary::set(const std::string& path, const std::string& value) { at(*json_, path) = printable(value); }

void Summary::set(const std::string& path, double value) { at(*json_, path) = number(value); }

void Summary::set(const std::string& path, bool value) { at(*json_, path) = value; }

void Summary::set_integer(const std::string& path, long long value) { at(*json_, path) = value; }

void Summary::set(const std::string& path, const std::vector<double>& values) {
    Json& list = at(*json_, path) = Json::array();
    for (double value : values) list.push_back(number(value));
}

void Summary::set(const std::string& path, const std::map<std::string, long>& counts) {
    Json& object = at(*json_, path) = Json::object();
    for (const auto& [name, count] : counts) object[printable(name)] = count;
}

void Summary::set_time(const std::string& path, const GTime& time, int decimals) {
    static const char* const scales[] = {"", "_gpst", "_galt", "_bdst", "_utc", "_tai", "_tt"};
    set(path + scales[time.sys], time_text(time, decimals));
}

void Summary::write(int status) {
    if (file_.empty()) return;
    set("status", status);
    Json& list = at(*json_, "inputs") = Json::array();
    for (const Input& input : inputs_) {
        list.push_back({{"option", input.option},
                        {"file", printable(input.file)},
                        {"form", input.form.empty() ? "plain" : input.form},
                        {"expanded_bytes", input.bytes},
                        {"sha256", input.sha256}});
    }
    OutputFile out(file_);
    const std::string text = json_->dump(2, ' ', false, Json::error_handler_t::replace);
    std::fprintf(out, "%s\n", text.c_str());
    out.close();
}

}  // namespace host
