/*
 * streams: a whole host in plain C99. Prints a line for each stream of the files given: name,
 * number of samples, samples per second, start time in seconds, first and last sample found.
 *
 *   eval "cc -std=c99 -o streams streams.c $(pkg-config --cflags ox-wp-plugin) -ldl"
 *   plugins=$(pkg-config --variable=plugindir ox-wp-plugin)
 *   eval "./streams $plugins/ox_wp_plugin_geo.so recording.mseed"
 *
 * These commands take an installed plug-in; with eval, a path can have spaces. In a source tree,
 * where nothing is installed:
 *
 *   cc -std=c99 -I../plugin -o streams streams.c -ldl
 *   ./streams ../build/ox_wp_plugin_geo.so recording.mseed
 */
#include <dlfcn.h>
#include <limits.h>
#include <math.h>
#include <ox_wp_plugin.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* What is shown of a stream. */
typedef struct {
  const char* name; /* owned by the plug-in; valid until its file is released */
  double start;     /* of the first sample, in seconds */
  double step;      /* between two samples without a gap, in seconds; 0: unknown */
  int64_t count;    /* as the file declares it */
  int64_t data_type;
} stream;

/* Reads one property. Its identifier is ox_wp_prop_none if there is no such property. */
static _ox_wp_prop_type readProperty(const _ox_wp_plugin_functions_type* t, void* file,
                                     void* section, int variable, int index) {
  _ox_wp_prop_type p;
  memset(&p, 0, sizeof p);
  t->get_variable_property(t->plugin, file, section, variable, index, &p);
  return p;
}

static stream readStream(const _ox_wp_plugin_functions_type* t, void* file, void* section,
                         int variable) {
  stream s;
  s.name = readProperty(t, file, section, variable, ox_wp_index_variable_name).string_value;
  s.start = readProperty(t, file, section, variable, ox_wp_index_x_start).double_value;
  s.step = readProperty(t, file, section, variable, ox_wp_index_x_step).double_value;
  s.count = readProperty(t, file, section, variable, ox_wp_index_sample_count).integer_value;
  s.data_type =
      readProperty(t, file, section, variable, ox_wp_index_variable_data_type).integer_value;
  return s;
}

/* Prints why the call before failed: its error string, then the queued messages. Reading past the
   last one clears the queue. */
static void printReason(const _ox_wp_plugin_functions_type* t) {
  _ox_wp_prop_type p;
  memset(&p, 0, sizeof p);
  fprintf(stderr, " %s\n", t->get_error_message(t->plugin));
  for (int i = 0; t->get_plugin_property(t->plugin, i, &p), p.identifier != ox_wp_prop_none; ++i)
    if (p.identifier == ox_wp_prop_error_message)
      fprintf(stderr, "  message %lld: %s\n", (long long)p.integer_value, p.string_value);
}

/*
 * Copies the first `count` samples, one after the other: gaps in time are not filled. A copy can
 * find fewer samples than the file declares. The end of the buffer then stays NaN, and *status
 * is 1.
 */
static double* copyStream(const _ox_wp_plugin_functions_type* t, void* file, void* section,
                          int variable, int64_t count, int* status) {
  double* samples = malloc((size_t)count * sizeof *samples);
  *status = 1;
  if (!samples)
    return NULL;
  for (int64_t i = 0; i < count; ++i)
    samples[i] = NAN;
  *status = t->copy_variable_data(t->plugin, file, section, variable, ox_wp_type_double, samples,
                                  (int)(count * (int64_t)sizeof *samples));
  return samples;
}

/* Returns 1 if samples can be missing, else 0. */
static int printStream(const _ox_wp_plugin_functions_type* t, void* file, void* section,
                       int variable) {
  const int64_t most = INT_MAX / (int64_t)sizeof(double); /* in one copy */
  const stream s = readStream(t, file, section, variable);
  const int64_t count = s.count < most ? s.count : most;
  int status = 0;
  printf("%s %lld %g %.6f", s.name, (long long)s.count, s.step == 0 ? 0 : 1 / s.step, s.start);
  double* samples = NULL;
  if (s.data_type == ox_wp_type_double && count > 0)
    samples = copyStream(t, file, section, variable, count, &status);
  int64_t found = samples ? count : 0;
  while (found > 0 && isnan(samples[found - 1]))
    --found;
  if (found > 0)
    printf(" %g %g\n", samples[0], samples[found - 1]);
  else
    printf(" - -\n");
  free(samples);
  if (status != 0) {
    fprintf(stderr, "%s: not all samples can be read.", s.name);
    printReason(t);
  }
  return status;
}

/* Each file has a plug-in object of its own. A plug-in need not release a file in any other way. */
static int printFile(ox_wp_plugin_initialize_function initialize, const char* path) {
  _ox_wp_plugin_functions_type table = {.version = OX_WP_PLUGIN_VERSION};
  const _ox_wp_plugin_functions_type* t = &table;
  if (initialize(&table) != 0) {
    fprintf(stderr, "the plug-in refuses version %d\n", OX_WP_PLUGIN_VERSION);
    return 1;
  }
  int status = 0;
  void* file = t->parse_file(t->plugin, path);
  if (!file) {
    fprintf(stderr, "%s: missing, unreadable, or declined by the plug-in.", path);
    printReason(t);
    status = 1;
  }
  void* section = NULL;
  for (int i = 0; (section = t->get_section_handle(t->plugin, file, i)) != NULL; ++i) {
    _ox_wp_prop_type p;
    int64_t variables = 0;
    if (t->get_section_property(t->plugin, file, section, ox_wp_index_variable_count, &p) == 0)
      variables = p.integer_value;
    for (int variable = 0; variable < variables; ++variable)
      status |= printStream(t, file, section, variable);
  }
  t->release(t->plugin);
  return status;
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
  memcpy(&initialize, &entry, sizeof initialize); /* C99 cannot cast a data to a function pointer */
  int status = 0;
  for (int i = 2; i < argc; ++i)
    status |= printFile(initialize, argv[i]);
  dlclose(library);
  return status;
}
