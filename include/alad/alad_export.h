/* What libalad.so exports: exactly the declarations of these public headers, each marked
 * ALAD_EXPORT; everything else in the library is built with hidden visibility. */
#ifndef ALAD_ALAD_EXPORT_H
#define ALAD_ALAD_EXPORT_H

#if defined(__GNUC__) || defined(__clang__)
#define ALAD_EXPORT __attribute__((visibility("default")))
#else
#define ALAD_EXPORT
#endif

#endif /* ALAD_ALAD_EXPORT_H */
