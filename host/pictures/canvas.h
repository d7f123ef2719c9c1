/// \file canvas.h
/// A drawing surface in pixels, y downwards, written as SVG by itself and as PNG through gnuplot.
#ifndef LEOPOD_HOST_CANVAS_H
#define LEOPOD_HOST_CANVAS_H

#include <cstdio>
#include <string>
#include <vector>

namespace host {

struct Pixel {
    double x, y;
};

/// Signs that stand for points.
enum class Sign { circle, square, triangle, diamond, plus, cross, ring, wedge };
constexpr std::size_t kSigns = 8;

struct Mark {
    std::string colour;
    Sign sign = Sign::circle;
};

enum class Anchor { start, middle, end };

/// How a text is set. Its anchor point lies at half the height of its capitals.
struct Type {
    double size = 12.0;
    std::string colour = "#222222";
    Anchor anchor = Anchor::start;
    bool bold = false;
    bool upright = false;  ///< read from below, turned by 90 degrees
};

/// Width of a text in a common sans-serif type, on the wide side [pixel].
double text_width(const std::string& text, double size, bool bold = false);

/// A text cut to a width, with an ellipsis where something was cut off.
std::string shortened(const std::string& text, double size, double width);

/// Throws InputError where a name of a picture ends in anything other than .svg or .png; standard output gets an SVG.
void check_picture_name(const std::string& option, const std::string& file);

/// Collects shapes in the order of drawing.
class Canvas {
  public:
    Canvas(int width, int height) : width_(width), height_(height) {}

    /// An open line, or, drawn as separate lines, several of one style.
    void line(std::vector<Pixel> points, const std::string& colour, double width);
    void lines(std::vector<std::vector<Pixel>> pieces, const std::string& colour, double width);
    /// A filled outline.
    void fill(std::vector<Pixel> outline, const std::string& colour);
    void dots(std::vector<Pixel> centres, double radius, const std::string& colour);
    void marks(std::vector<Pixel> centres, double radius, const Mark& mark);
    void text(const Pixel& at, const std::string& text, const Type& type = {});
    /// Shapes until `end` belong together: a group of the SVG file, with its kind as class and its name as title.
    void begin(const std::string& kind, const std::string& name);
    void end();

    /// What the picture shows, for programs that read pictures aloud.
    void set_title(const std::string& title);

    /// Writes the picture; SVG by the ending .svg, PNG by .png. Throws InputError where the file cannot be written, or where gnuplot, which
    /// draws the PNG, is missing or fails.
    void save(const std::string& file) const;
    /// The picture as the text of an SVG file.
    std::string svg() const;

  private:
    enum class Kind { lines, fill, dots, text, begin, end };
    struct Shape {
        Kind kind;
        std::vector<std::vector<Pixel>> pieces;
        std::string colour;
        double size;  ///< width of lines, radius of dots
        std::string text, name;
        Type type;
        Sign sign = Sign::circle;
    };
    void save_png(const std::string& file) const;
    void write_gnuplot(std::FILE* pipe, const std::string& file) const;

    int width_, height_;
    std::string title_;
    std::vector<Shape> shapes_;
};

}  // namespace host

#endif
