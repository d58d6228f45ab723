#pragma once
// UniqueFd owns one file descriptor and closes it when it goes, so no early return can leak
// one. Move-only, like the descriptor itself. The header names no system type: it is held by
// classes whose headers the rest of the library includes.
//
//   UniqueFd fd(::open(...));
//   if (!fd.Valid()) return ...;
//   Use(fd.Get());            // closed at the end of the scope
//   return fd.Release();      // or handed on, no longer closed here

namespace rdx::os {

class UniqueFd {
 public:
  UniqueFd() = default;
  // Takes ownership of `fd`; a negative value means none.
  explicit UniqueFd(int fd) noexcept : fd_(fd < 0 ? -1 : fd) {}
  ~UniqueFd() { Reset(); }
  UniqueFd(UniqueFd&& other) noexcept : fd_(other.Release()) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    if (this != &other) Reset(other.Release());
    return *this;
  }
  UniqueFd(const UniqueFd&) = delete;
  UniqueFd& operator=(const UniqueFd&) = delete;

  // The descriptor, still owned here; -1 when none.
  [[nodiscard]] int Get() const noexcept { return fd_; }
  [[nodiscard]] bool Valid() const noexcept { return fd_ >= 0; }
  // Gives the descriptor up without closing it; -1 when none. The caller now owns it.
  [[nodiscard]] int Release() noexcept {
    const int fd = fd_;
    fd_ = -1;
    return fd;
  }
  // Closes the held descriptor (if any) and takes `fd` instead.
  void Reset(int fd = -1) noexcept;
  // Closes the held descriptor now: 0, or the errno close gave (a file whose data could not
  // be written back says so only here). Nothing held is 0.
  [[nodiscard]] int Close() noexcept;

 private:
  int fd_ = -1;  // -1 or a descriptor this object alone closes
};

// Makes a pipe whose two ends get `flags` (O_CLOEXEC, O_NONBLOCK): 0 or the errno of pipe2.
// The ends are left untouched on failure.
[[nodiscard]] int OpenPipe(int flags, UniqueFd& readEnd, UniqueFd& writeEnd) noexcept;

}  // namespace rdx::os
