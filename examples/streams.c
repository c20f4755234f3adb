/*
 * streams: a whole host in plain C99. Prints a line for each stream of the files given: name,
 * number of samples, samples per second, start in seconds, first and last sample.
 *
 * From an installation alone:
 *
 *   cc -std=c99 -o streams streams.c $(pkg-config --cflags ox-wp-plugin) -ldl
 *   ./streams $(pkg-config --variable=plugindir ox-wp-plugin)/ox_wp_plugin_geo.so recording.mseed
 */
#include <dlfcn.h>
#include <math.h>
#include <ox_wp_plugin.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* What is shown of a stream. */
typedef struct {
  const char* name;
  double start;
  double step;
  int64_t count;
  int64_t data_type;
} stream;

static stream readStream(const _ox_wp_plugin_functions_type* t, void* file, void* section,
                         int variable) {
  stream s = {"", 0, 0, 0, ox_wp_type_none};
  _ox_wp_prop_type p;
  for (int i = 0; t->get_variable_property(t->plugin, file, section, variable, i, &p) == 0; ++i) {
    switch (p.identifier) {
    case ox_wp_prop_variable_name:
      s.name = p.string_value;
      break;
    case ox_wp_prop_sample_count:
      s.count = p.integer_value;
      break;
    case ox_wp_prop_variable_data_type:
      s.data_type = p.integer_value;
      break;
    case ox_wp_prop_x_start:
      s.start = p.double_value;
      break;
    case ox_wp_prop_x_step:
      s.step = p.double_value;
      break;
    default:
      break; /* labels, and whatever a later plug-in adds */
    }
  }
  return s;
}

/* Samples can be fewer than declared: those that are missing stay NaN. */
static double* copyStream(const _ox_wp_plugin_functions_type* t, void* file, void* section,
                          int variable, int64_t count) {
  double* samples = malloc((size_t)count * sizeof *samples);
  if (!samples)
    return NULL;
  for (int64_t i = 0; i < count; ++i)
    samples[i] = NAN;
  t->copy_variable_data(t->plugin, file, section, variable, ox_wp_type_double, samples,
                        (int)(count * (int64_t)sizeof *samples));
  return samples;
}

static void printStream(const _ox_wp_plugin_functions_type* t, void* file, void* section,
                        int variable) {
  const int64_t most = 0x7fffffff / (int64_t)sizeof(double); /* that one copy holds */
  const stream s = readStream(t, file, section, variable);
  const int64_t count = s.count < most ? s.count : most;
  printf("%s %lld %g %.6f", s.name, (long long)s.count, s.step == 0 ? 0 : 1 / s.step, s.start);
  double* samples = NULL;
  if (s.data_type == ox_wp_type_double && count > 0)
    samples = copyStream(t, file, section, variable, count);
  if (samples)
    printf(" %g %g\n", samples[0], samples[count - 1]);
  else
    printf(" - -\n");
  free(samples);
}

static int printFile(const _ox_wp_plugin_functions_type* t, const char* path) {
  void* file = t->parse_file(t->plugin, path);
  if (!file) {
    fprintf(stderr, "%s: nothing in it that the plug-in delivers\n", path);
    return 1;
  }
  void* section = NULL;
  for (int i = 0; (section = t->get_section_handle(t->plugin, file, i)) != NULL; ++i) {
    _ox_wp_prop_type p;
    t->get_section_property(t->plugin, file, section, 1, &p);
    const int64_t variables = p.identifier == ox_wp_prop_variable_count ? p.integer_value : 0;
    for (int variable = 0; variable < variables; ++variable)
      printStream(t, file, section, variable);
  }
  t->release_all_files(t->plugin);
  return 0;
}

int main(int argc, char** argv) {
  if (argc < 3) {
    fprintf(stderr, "usage: streams PLUGIN FILE...\n");
    return 2;
  }
  void* library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  void* entry = library ? dlsym(library, OX_WP_PLUGIN_ENTRY_POINT) : NULL;
  if (!entry) {
    fprintf(stderr, "%s\n", dlerror());
    return 1;
  }
  ox_wp_plugin_initialize_function initialize;
  memcpy(&initialize, &entry, sizeof initialize); /* C99 has no cast from data to function */

  _ox_wp_plugin_functions_type t = {.version = OX_WP_PLUGIN_VERSION};
  if (initialize(&t) != 0) {
    fprintf(stderr, "%s refuses version %d\n", argv[1], OX_WP_PLUGIN_VERSION);
    return 1;
  }
  int status = 0;
  for (int i = 2; i < argc; ++i)
    status |= printFile(&t, argv[i]);
  t.release(t.plugin);
  dlclose(library);
  return status;
}
