/**
 * @file
 * Marks what the shared object exports. Everything else is hidden.
 */
#ifndef TAVRIK_EXPORT_H
#define TAVRIK_EXPORT_H

#if defined(__GNUC__)
/** Public: exported. */
#define TAVRIK_API __attribute__((visibility("default")))
/** A private member of an exported class: hidden. */
#define TAVRIK_LOCAL __attribute__((visibility("hidden")))
#else
#define TAVRIK_API
#define TAVRIK_LOCAL
#endif

#endif
