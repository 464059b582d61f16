// Immortal: a process-wide object built by constant initialisation and never torn down.
#pragma once

namespace tl {

// For process-wide state read on hot paths. Unlike NoDestructor it is built before anything runs,
// so an access is a plain memory access without an initialisation guard; T must therefore be
// constant-constructible (declare the holder constinit). Like NoDestructor it is never destroyed:
// the module's objects must not be torn down by exit-time destructors while the host's platform
// they use is already gone.
template <class T>
union Immortal {
  constexpr Immortal() : value() {}
  ~Immortal() {}
  Immortal(const Immortal&) = delete;
  Immortal& operator=(const Immortal&) = delete;

  T value;
};

}  // namespace tl
