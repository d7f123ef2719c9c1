/// \file orbit_nodes.h
/// Precise positions against the curve through their neighbours.
#ifndef LEOPOD_HOST_ORBIT_NODES_H
#define LEOPOD_HOST_ORBIT_NODES_H

#include <cstddef>
#include <string>

#include "pod_embed.h"

namespace host {

/// Bound of the error of a polynomial through positions of a navigation satellite, by the seconds to each. Of its earth-fixed motion the part
/// against the earth's turn is the quickest: a fifth of the radius at half a turn more than its own two a day. [m]
double polynomial_error(const double* seconds, std::size_t count);

/// Takes out single precise positions of navigation satellites that lie more than 20 m off the polynomial through the ten around them: damaged
/// lines, epochs of another product. A good orbit keeps to it within centimetres at 15 minutes; manoeuvres of metres stay. Not looked at:
/// the three positions at either end of a satellite's row, those with wide gaps around them, rows with a jump. Returns what it took out in
/// words, empty where nothing.
std::string set_aside_stray_positions(EPHPREC_STORE& store);

}  // namespace host

#endif
