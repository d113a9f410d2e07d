/// @file
/// The version of transspace: of the headers at compile time, of the library at run time.
///
/// A host that must run with the library it was compiled against compares transVersion() with
/// TRANSSPACE_VERSION_STRING at start. Versions follow semantic versioning; CHANGELOG.md lists what
/// each one changed.
#ifndef TRANSVERSION_H
#define TRANSVERSION_H

#include "transexport.h"

/// The parts of the headers' version: MAJOR.MINOR.PATCH.
///@{
#define TRANSSPACE_VERSION_MAJOR 0
#define TRANSSPACE_VERSION_MINOR 2
#define TRANSSPACE_VERSION_PATCH 0
///@}
/// The headers' version as text, "MAJOR.MINOR.PATCH".
#define TRANSSPACE_VERSION_STRING "0.2.0"

/// The version of the library the program runs with, "MAJOR.MINOR.PATCH"; a static string.
TRANS_EXPORT char const* transVersion() noexcept;

#endif // TRANSVERSION_H
