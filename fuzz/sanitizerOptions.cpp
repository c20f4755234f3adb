// Options of the address sanitizer for the fuzz targets. It hands out freed memory again soon,
// since fresh pages cost more than all the rest of an input. It refuses tables of gigabytes, whose
// shadow it would fill for seconds.

// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-*): the sanitizer's name
extern "C" const char* __asan_default_options() {
  return "quarantine_size_mb=8:max_allocation_size_mb=1024:allocator_may_return_null=1";
}
