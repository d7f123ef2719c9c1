// Accelerations of a gravity field by GeographicLib, for tests in other languages.
#include <GeographicLib/SphericalHarmonic.hpp>
#include <fstream>
#include <map>
#include <utility>
#include <vector>

/// Field of a file (degree, order, C, S; normalised) to a degree, with GM and radius of EGM2008, at n positions, 3 each [m].
extern "C" void field_acceleration(const char* file, int degree, int n, const double* position, double* acceleration) {
    std::map<std::pair<int, int>, std::pair<double, double>> rows{{{0, 0}, {1.0, 0.0}}};
    std::ifstream in(file);
    int l = 0, m = 0;
    double c = 0, s = 0, sigma[2];
    while (in >> l >> m >> c >> s >> sigma[0] >> sigma[1]) rows[{l, m}] = {c, s};
    std::vector<double> cosines, sines;
    for (int order = 0; order <= degree; ++order) {
        for (int row = order; row <= degree; ++row) {
            cosines.push_back(rows[{row, order}].first);
            if (order > 0) sines.push_back(rows[{row, order}].second);
        }
    }
    const double gm = 3.986004415e14, radius = 6378136.3;
    const GeographicLib::SphericalHarmonic potential(cosines, sines, degree, radius);
    for (int i = 0; i < n; ++i) {
        const double* p = position + 3 * i;
        double* a = acceleration + 3 * i;
        potential(p[0], p[1], p[2], a[0], a[1], a[2]);
        for (int k = 0; k < 3; ++k) a[k] *= gm / radius;
    }
}
