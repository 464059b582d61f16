/* Brightness buckets: the backlight's range in tenths, and the seconds spent in each. */
#ifndef TALLYLINE_BRIGHTNESS_BUCKETS_H_
#define TALLYLINE_BRIGHTNESS_BUCKETS_H_

#include <stdint.h>

#include "base/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The backlight's "max" and "min" brightness; -1 while unknown. Touched only on the power
   listener's logging queue. */
TL_EXPORT extern int32_t maxBright;
TL_EXPORT extern int32_t minBright;
/* Seconds per bucket: 0 is off, 1 to 10 the tenths of the range, 11 folds into 10; entry 12 is
   the total. */
TL_EXPORT extern double bucketSeconds[13];

/* bucket if it is a bucket (0 to 11); otherwise 0, with a message for the first 100. */
TL_EXPORT int32_t checkBucket(uint32_t bucket);
/* The bucket of a reading; -1 keeps current. */
TL_EXPORT int32_t makeBucket(int32_t value, int32_t current);

#ifdef __cplusplus
}
#endif

#endif /* TALLYLINE_BRIGHTNESS_BUCKETS_H_ */
