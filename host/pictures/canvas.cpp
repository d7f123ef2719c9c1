#include "pictures/canvas.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "shared/error.h"
#include "shared/files.h"
#include "shared/printable.h"

namespace host {

namespace {

bool ends_with(const std::string& text, const char* ending) {
    const std::size_t n = std::strlen(ending);
    return text.size() > n && text.compare(text.size() - n, n, ending) == 0;
}

}  // namespace

double text_width(const std::string& text, double size, bool bold) {
    double width = 0;
    for (const char c : text) {
        if ((static_cast<unsigned char>(c) & 0xC0) == 0x80) continue;  // inside a character
        if (std::strchr("ijl.,:;'| ", c) != nullptr) {
            width += 0.33;
        } else if (std::strchr("ftr()[]I/-", c) != nullptr) {
            width += 0.41;
        } else if (std::strchr("mwMW@%", c) != nullptr) {
            width += 0.93;
        } else if (c >= 'A' && c <= 'Z') {
            width += 0.70;
        } else {
            width += 0.62;
        }
    }
    return width * size * (bold ? 1.1 : 1.0);
}

std::string shortened(const std::string& text, double size, double width) {
    if (text_width(text, size) <= width) return text;
    std::string kept;
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t n = std::max<std::size_t>(1, character_length(text, i));
        if (text_width(kept + text.substr(i, n), size) > width - size) break;
        kept += text.substr(i, n);
        i += n;
    }
    return kept + "\u2026";
}

void check_picture_name(const std::string& option, const std::string& file) {
    if (!ends_with(file, ".svg") && !ends_with(file, ".png") && !is_standard_output(file))
        throw InputError(option + " " + file + ": a name that ends in .svg or .png is expected");
}

void Canvas::line(std::vector<Pixel> points, const std::string& colour, double width) {
    std::vector<std::vector<Pixel>> pieces;
    pieces.push_back(std::move(points));
    lines(std::move(pieces), colour, width);
}

void Canvas::lines(std::vector<std::vector<Pixel>> pieces, const std::string& colour, double width) {
    if (!pieces.empty()) shapes_.push_back({Kind::lines, std::move(pieces), colour, width, {}, {}, {}});
}

void Canvas::fill(std::vector<Pixel> outline, const std::string& colour) {
    shapes_.push_back({Kind::fill, {std::move(outline)}, colour, 0, {}, {}, {}});
}

void Canvas::dots(std::vector<Pixel> centres, double radius, const std::string& colour) {
    marks(std::move(centres), radius, {colour, Sign::circle});
}

void Canvas::marks(std::vector<Pixel> centres, double radius, const Mark& mark) {
    if (centres.empty()) return;
    shapes_.push_back({Kind::dots, {std::move(centres)}, mark.colour, radius, {}, {}, {}});
    shapes_.back().sign = mark.sign;
}

void Canvas::text(const Pixel& at, const std::string& text, const Type& type) {
    shapes_.push_back({Kind::text, {{at}}, type.colour, type.size, printable(text), {}, type});
}

void Canvas::begin(const std::string& kind, const std::string& name) {
    shapes_.push_back({Kind::begin, {}, {}, 0, kind, printable(name), {}});
}

void Canvas::end() { shapes_.push_back({Kind::end, {}, {}, 0, {}, {}, {}}); }

void Canvas::save(const std::string& file) const {
    if (ends_with(file, ".png")) {
        save_png(file);
    } else {
        OutputFile out(file);
        std::fputs(svg().c_str(), out);
        out.close();
    }
}

void Canvas::set_title(const std::string& title) { title_ = printable(title); }

}  // namespace host
