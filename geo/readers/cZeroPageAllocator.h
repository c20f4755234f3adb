// Memory for a vector whose new elements are 0 and cost nothing until they are touched.
#pragma once

#include <cstdlib>
#include <new>
#include <type_traits>

// A header of forty bytes can declare a table of 4 GiB. The system hands out memory of that size as
// pages that read as 0 and take up no room, which holds as long as nobody writes zeros into them.
template<class Number>
struct cZeroPageAllocator {
  static_assert(std::is_arithmetic_v<Number>);
  using value_type = Number;

  Number* allocate(std::size_t count) {
    if (void* memory = std::calloc(count, sizeof(Number)))
      return static_cast<Number*>(memory);
    throw std::bad_alloc();
  }
  void deallocate(Number* memory, std::size_t /*count*/) noexcept { std::free(memory); }

  // REQUIRES: the element lies in memory fresh from allocate.
  void construct(Number* /*element*/) noexcept {}

  bool operator==(const cZeroPageAllocator&) const noexcept { return true; }
};
