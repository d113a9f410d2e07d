// Symbol export for the host stand-in library (libzelthost).
#ifndef ZELTEXPORT_H
#define ZELTEXPORT_H

#if defined(ZELT_BUILDING_HOST)
#define ZELT_EXPORT __attribute__((visibility("default")))
#else
#define ZELT_EXPORT
#endif

#endif // ZELTEXPORT_H
