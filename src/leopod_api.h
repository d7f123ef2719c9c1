/// Linkage and visibility of the exported interface. Every header of the library includes this file: its declarations
/// stand between LEOPOD_BEGIN_DECLS and LEOPOD_END_DECLS, have C linkage and are visible outside the shared library.
#ifndef LEOPOD_API_H
#define LEOPOD_API_H

#include <stdbool.h>
#include <stddef.h>
#include <stdio.h>

#ifdef __cplusplus
#define LEOPOD_BEGIN_DECLS _Pragma("GCC visibility push(default)") extern "C" {
#define LEOPOD_END_DECLS \
    }                    \
    _Pragma("GCC visibility pop")
/// Fixed base of every enumeration: any int is a valid value of it, so that numbers from files and callers are defined.
#define LEOPOD_ENUM_BASE : int
#else
#define LEOPOD_BEGIN_DECLS _Pragma("GCC visibility push(default)")
#define LEOPOD_END_DECLS _Pragma("GCC visibility pop")
#define LEOPOD_ENUM_BASE
#endif

#endif
