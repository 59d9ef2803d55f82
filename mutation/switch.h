#pragma once

#include <cstdlib>
#include <functional>

#include <sys/mman.h>
#include <unistd.h>

// What the changed sources call. All mutants are compiled into one program; the environment says
// which single one is at work (MUTANT), and which open file marks those that were passed
// (MUTANTS_PASSED).
namespace mutation {

inline int active() {
  static const int id = [] {
    const char* text = std::getenv("MUTANT");
    return text == nullptr ? 0 : std::atoi(text);
  }();
  return id;
}

// A byte a mutant; null: nobody wants to know.
inline unsigned char* passed() {
  static unsigned char* const marks = []() -> unsigned char* {
    const char* text = std::getenv("MUTANTS_PASSED");
    if (text == nullptr) return nullptr;
    const int file = std::atoi(text);
    const off_t size = lseek(file, 0, SEEK_END);
    void* memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (memory == MAP_FAILED) std::abort();
    return static_cast<unsigned char*>(memory);
  }();
  return marks;
}

inline bool on(int id) {
  if (passed() != nullptr) passed()[id] = 1;
  return active() == id;
}

inline bool flip(int id, bool value) { return on(id) != value; }

// keep_not{id} * !x: the mutant leaves the "!" out.
struct keep_not {
  int id;
  bool operator*(bool value) const { return on(id) != value; }
};

// a < either<std::less<>, std::less_equal<>>{id} < b: as `a < b`, and the mutant as `a <= b`. What
// stands on both sides only gives the precedence.
template <typename Kept, typename Changed>
struct either {
  int id;
};

template <typename Left, typename Kept, typename Changed>
struct half {
  const Left& left;
  int id;

  template <typename Right>
  auto with(const Right& right) const {
    return on(id) ? Changed{}(left, right) : Kept{}(left, right);
  }
};

template <typename Left, typename Kept, typename Changed>
half<Left, Kept, Changed> operator<(const Left& left, either<Kept, Changed> op) {
  return {left, op.id};
}
template <typename Left, typename Kept, typename Changed, typename Right>
auto operator<(half<Left, Kept, Changed> left, const Right& right) {
  return left.with(right);
}
template <typename Left, typename Kept, typename Changed>
half<Left, Kept, Changed> operator!=(const Left& left, either<Kept, Changed> op) {
  return {left, op.id};
}
template <typename Left, typename Kept, typename Changed, typename Right>
auto operator!=(half<Left, Kept, Changed> left, const Right& right) {
  return left.with(right);
}
template <typename Left, typename Kept, typename Changed>
half<Left, Kept, Changed> operator+(const Left& left, either<Kept, Changed> op) {
  return {left, op.id};
}
template <typename Left, typename Kept, typename Changed, typename Right>
auto operator+(half<Left, Kept, Changed> left, const Right& right) {
  return left.with(right);
}

}  // namespace mutation
