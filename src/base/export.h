/* TL_EXPORT: marks the module's documented C interface for export from the shared library. */
#ifndef TALLYLINE_BASE_EXPORT_H_
#define TALLYLINE_BASE_EXPORT_H_

/* The module is built with hidden visibility; only names marked here, and listed in its export
   map, are visible to the daemon. */
#define TL_EXPORT __attribute__((visibility("default")))

/* For declarations of the module's own globals in headers: an extern declaration is not hidden by
   the build's default, and a global that may be preempted is reached through an extra load. */
#define TL_HIDDEN __attribute__((visibility("hidden")))

#endif /* TALLYLINE_BASE_EXPORT_H_ */
