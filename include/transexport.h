/// Symbol export for libtransspace: every public class carries TRANS_EXPORT, everything else is
/// hidden.
#ifndef TRANSEXPORT_H
#define TRANSEXPORT_H

#if defined(TRANS_BUILDING_LIBRARY)
#define TRANS_EXPORT __attribute__((visibility("default")))
#else
#define TRANS_EXPORT
#endif

#endif // TRANSEXPORT_H
