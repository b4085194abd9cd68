// Marks what the shared library exports; everything else in it is hidden.
#ifndef TESSMAKER_API_H
#define TESSMAKER_API_H

#if defined(__GNUC__) || defined(__clang__)
#define TESSMAKER_API __attribute__((visibility("default")))
#else
#define TESSMAKER_API
#endif

#endif
