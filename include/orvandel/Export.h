// Symbol visibility for the public surface of the Orvandel libraries.
//
// The libraries are built with hidden visibility; only what is marked ORVANDEL_API is exported:
// the flat C functions, the entry points and the interface classes (whose type information must
// be shared so that clients can catch the exception values thrown by value across the boundary).
#ifndef ORVANDEL_EXPORT_H
#define ORVANDEL_EXPORT_H

#if defined(__GNUC__) || defined(__clang__)
#define ORVANDEL_API __attribute__((visibility("default")))
#else
#define ORVANDEL_API
#endif

#endif
