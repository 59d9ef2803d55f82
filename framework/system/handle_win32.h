// Handles with an owner, and what stands behind one (Windows).
#pragma once

#include <string>
#include <string_view>
#include <utility>

#include <windows.h>

#include "framework/io/io.h"

namespace zendro::framework {

/// Owns a handle; closes it at the end.
class Handle {
 public:
  explicit Handle(HANDLE handle = INVALID_HANDLE_VALUE) : handle_(handle) {}
  Handle(Handle&& other) noexcept : handle_(other.release()) {}
  Handle& operator=(Handle&& other) noexcept {
    if (this != &other) {
      close();
      handle_ = other.release();
    }
    return *this;
  }
  ~Handle() { close(); }

  explicit operator bool() const { return handle_ != INVALID_HANDLE_VALUE; }
  [[nodiscard]] HANDLE get() const { return handle_; }
  HANDLE release() { return std::exchange(handle_, INVALID_HANDLE_VALUE); }

 private:
  void close() {
    if (*this) CloseHandle(release());
  }

  HANDLE handle_;
};

/// Files are shared with everybody, as on other systems; only a program that refuses to share
/// stands in the way.
inline constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

/// The attributes of what is open; a device has none and counts as such (FILE_ATTRIBUTE_DEVICE).
DWORD attributes_of(HANDLE file);

/// Whether a regular file is open, as its attributes tell; if not, what it is.
Result<void> accept_regular(DWORD attributes, std::string_view label);

/// Why opening something failed with `code`: where the attributes of what stands there say more
/// than the system's text, they decide.
IoError open_error(std::string_view label, DWORD code, DWORD attributes, bool for_writing);

}  // namespace zendro::framework
