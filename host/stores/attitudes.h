/// \file attitudes.h
/// The loaded quaternions, in an order and of a kind that the library can use.
#ifndef LEOPOD_HOST_ATTITUDES_H
#define LEOPOD_HOST_ATTITUDES_H

#include <string>

namespace host {

/// Puts the quaternions of all objects in order of time, each time once, and takes out what is no rotation: the library would scale
/// with it. Returns how many of an object these were. Throws InputError with the names of the files where none is left, or where a time has
/// two attitudes.
long tidy_attitudes(const std::string& files);

}  // namespace host

#endif
