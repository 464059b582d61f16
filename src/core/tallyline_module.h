/* The module's exported C interface: its entry and the helpers other components may call. */
#ifndef TALLYLINE_MODULE_H_
#define TALLYLINE_MODULE_H_

#include <stdbool.h>
#include <stdint.h>

#include "base/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* A parameterless block: invoke is called with the block itself, which carries any context. */
typedef struct TLBlock TLBlock;
struct TLBlock {
  void (*invoke)(TLBlock* self);
};

/* The host calls this once with its module handle; a second call does nothing. */
TL_EXPORT void TLEventModuleInitializer(void* module);

/* Whether the device runs in multi-user mode; computed once per process. */
TL_EXPORT bool InMultiUserMode(void);
/* The module's data container directory, or NULL when it cannot be found. */
TL_EXPORT const char* TLContainerPath(void);
/* An interval of the monotonic tick clock in seconds. */
TL_EXPORT double TLMachAbsoluteTimeIntervalToCBTimeInterval(uint64_t interval);
/* Seconds that running block took. */
TL_EXPORT double TLTimeBlock(TLBlock* block);

/* Asks the person-and-e-mail counting service at port server for its two counts; 0 or the
   failure's code. */
TL_EXPORT int32_t TLDBServiceClientGetPersonAndEmailCount(uint32_t server, uint32_t* personCount,
                                                          uint32_t* emailCount);

#ifdef __cplusplus
}  // extern "C"

#include <utility>

namespace tl {
// A TLBlock that runs a C++ callable.
template <class F>
class BlockOf : public TLBlock {
 public:
  explicit BlockOf(F f) : TLBlock{&BlockOf::Run}, f_(std::move(f)) {}

 private:
  static void Run(TLBlock* self) { static_cast<BlockOf*>(self)->f_(); }
  F f_;
};
}  // namespace tl
#endif

#endif /* TALLYLINE_MODULE_H_ */
