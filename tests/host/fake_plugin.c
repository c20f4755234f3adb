/*
 * A plug-in for the host's tests, in plain C. Keeps every rule of the boundary, unless BREAKS names
 * one of the rules below: then it breaks that one.
 *
 * Its files are text: "fake", then a line a stream:
 *   NAME DATA_TYPE DECLARED_SAMPLES FOUND_SAMPLES START INTERVAL
 */
#include <fcntl.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include "plugin/ox_wp_plugin.h"

enum rule {
  NOTHING,
  BYTE_SIZE,
  CHANGE_FLAG,
  CRASH,
  DESCRIPTOR,
  EARLY_WALK,
  ERROR_TEXT,
  EXPORTS,
  FAILED_PARSE,
  HANG,
  KIND,
  LABELS,
  LONG_COPY,
  MESSAGES,
  MISSING_FILE,
  NAMES,
  NEGATIVE_SIZE,
  NO_FILE,
  NULL_COPY,
  NULL_PLUGIN,
  NULL_SECTION,
  ONE_OBJECT,
  OUTSIDE_COPY,
  OUTSIDE_VARIABLE,
  PLUGIN_ORDER,
  PLUGIN_RECORD,
  PRINTS,
  PROPERTY_TYPE,
  RECORD_FIELDS,
  REFUSED_TABLE,
  RELEASE_ALL,
  RELEASE_FILE,
  RESERVED_SLOT,
  SAMPLE_TYPE,
  SAME_HANDLE,
  SHORT_COPY,
  VERSION,
  WALK_END,
  X_END
};

#ifndef BREAKS
#define BREAKS NOTHING
#endif

static int breaks(enum rule rule) {
  return rule == BREAKS;
}

enum { most_streams = 64, most_files = 64 };

struct stream {
  char name[64];
  int type;
  long long declared, found;
  double start, interval;
};

struct file {
  char path[4096];
  long long size, time;
  struct stream streams[most_streams];
  int count;
  char label[16]; /* one for the section */
};

struct plugin {
  struct file* files[most_files];
  int count;
  int messages;
};

#ifdef BREAKS_EXPORTS
__attribute__((visibility("default"))) int surplus_symbol(void) {
  return 1;
}
#endif

static double sample(long long index) {
  static const double edges[] = {-0.0,   5e-324,   1.7976931348623157e308, 1.0 / 3,
                                 1e-310, INFINITY, 123456789.123456789,    0.1};
  if (index < 8)
    return edges[index];
  return index % 1000 == 500 ? 1e6 : (double)(index % 100) / 10;
}

static int fail(_ox_wp_prop_type* record) {
  if (record)
    record->identifier = ox_wp_prop_none;
  return 1;
}

static int integer(_ox_wp_prop_type* record, int identifier, long long value) {
  record->identifier = identifier;
  record->type = ox_wp_type_integer;
  record->integer_value = value;
  if (breaks(RECORD_FIELDS))
    record->double_value = 0;
  return 0;
}

static int number(_ox_wp_prop_type* record, int identifier, double value) {
  record->identifier = identifier;
  record->type = ox_wp_type_double;
  record->double_value = value;
  return 0;
}

static int text(_ox_wp_prop_type* record, int identifier, const char* value) {
  record->identifier = identifier;
  record->type = ox_wp_type_string;
  record->string_value = value;
  return 0;
}

static int label(struct file* file, _ox_wp_prop_type* record, int identifier, const char* value) {
  if (breaks(LABELS))
    return text(record, identifier, value);
  strncpy(file->label, value, sizeof file->label - 1);
  return text(record, identifier, file->label);
}

static int get_plugin_property(ox_wp_plugin_handle handle, int index, _ox_wp_prop_type* record) {
  struct plugin* plugin = handle;
  if (!plugin || !record)
    return 0;
  fail(record);
  if (index < 0 && breaks(PLUGIN_RECORD))
    record->label = "";
  if (index == (breaks(PLUGIN_ORDER) ? 1 : 0))
    return text(record, ox_wp_prop_file_extension, "*.fake");
  if (index == (breaks(PLUGIN_ORDER) ? 0 : 1))
    return text(record, ox_wp_prop_plugin_name, "fake");
  if (index > 1 && index < 2 + plugin->messages) {
    text(record, ox_wp_prop_error_message, "declined");
    record->type = ox_wp_type_message;
    record->integer_value = 7;
    if (breaks(EARLY_WALK))
      --plugin->messages;
  } else if (index > 1 && !breaks(MESSAGES)) {
    plugin->messages = 0;
  }
  return 0;
}

static int release_all_files(ox_wp_plugin_handle handle) {
  struct plugin* plugin = handle;
  if (plugin)
    while (plugin->count > 0)
      free(plugin->files[--plugin->count]);
  return plugin && breaks(RELEASE_ALL) ? 1 : 0;
}

static struct plugin* create(void) {
  static struct plugin only;
  return breaks(ONE_OBJECT) ? &only : calloc(1, sizeof only);
}

static void release(ox_wp_plugin_handle handle) {
  release_all_files(handle);
  if (!breaks(ONE_OBJECT))
    free(handle);
}

static const char* get_error_message(ox_wp_plugin_handle plugin) {
  if (breaks(ERROR_TEXT) && plugin)
    return "none";
  return plugin || breaks(NULL_PLUGIN) ? "" : NULL;
}

static int look(struct file* file) {
  struct stat status = {0};
  const int missing = stat(file->path, &status);
  const int changed = status.st_size != file->size || status.st_mtime != file->time;
  if (!breaks(CHANGE_FLAG) || file->size == 0) {
    file->size = status.st_size;
    file->time = status.st_mtime;
  }
  return missing ? 1 : changed;
}

static int read_stream(FILE* input, struct stream* s) {
  /* NOLINTNEXTLINE(cert-err34-c): the tests write what this reads */
  return fscanf(input, "%63s %d %lld %lld %lf %lf", s->name, &s->type, &s->declared, &s->found,
                &s->start, &s->interval) == 6;
}

static int read_file(struct file* file) {
  FILE* input = fopen(file->path, "r");
  char first[5] = "";
  struct stream s;
  if (!input)
    return 0;
  const int known = fread(first, 1, 4, input) == 4 && strcmp(first, "fake") == 0;
  while (known && file->count < most_streams && read_stream(input, &s))
    file->streams[file->count++] = s;
  if (!breaks(DESCRIPTOR))
    (void)fclose(input);
  return file->count > 0;
}

static ox_wp_file_handle parse_file(ox_wp_plugin_handle handle, const char* path) {
  struct plugin* plugin = handle;
  if (!plugin || plugin->count == most_files)
    return NULL;
  if (breaks(SAME_HANDLE) && plugin->count > 0)
    return plugin->files[0];
  struct file* file = calloc(1, sizeof *file);
  strncpy(file->path, path, sizeof file->path - 1);
  look(file);
  if ((read_file(file) && !breaks(NO_FILE)) || breaks(MISSING_FILE))
    return plugin->files[plugin->count++] = file;
  if (breaks(PRINTS))
    (void)fprintf(stderr, "declined\n");
  free(file);
  if (breaks(FAILED_PARSE) && plugin->count > 0)
    plugin->files[0]->count = 0;
  ++plugin->messages;
  return NULL;
}

static int release_file(ox_wp_plugin_handle plugin, ox_wp_file_handle file) {
  (void)plugin;
  return breaks(RELEASE_FILE) && file ? 0 : 1;
}

static int get_file_property(ox_wp_plugin_handle plugin, ox_wp_file_handle file, int index,
                             _ox_wp_prop_type* record) {
  (void)plugin;
  if (fail(record) && (!record || !file))
    return 1;
  switch (index) {
  case 0:
    return integer(record, ox_wp_prop_file_kind, breaks(KIND));
  case 1:
    return integer(record, ox_wp_prop_section_count, 1);
  case 2:
    return integer(record, ox_wp_prop_file_changed, look(file));
  default:
    return 1;
  }
}

static ox_wp_section_handle get_section_handle(ox_wp_plugin_handle plugin, ox_wp_file_handle file,
                                               int index) {
  if (breaks(HANG) && index < 0)
    for (;;)
      pause();
  return plugin && index == 0 ? file : NULL;
}

static int get_section_property(ox_wp_plugin_handle plugin, ox_wp_file_handle file,
                                ox_wp_section_handle section, int index, _ox_wp_prop_type* record) {
  (void)plugin, (void)file;
  if (fail(record) && (!record || !section))
    return record && breaks(NULL_SECTION) ? 0 : 1;
  switch (index) {
  case 0:
    return integer(record, ox_wp_prop_section_kind, 0);
  case 1:
    return integer(record, ox_wp_prop_variable_count, ((struct file*)section)->count);
  case 2:
    return label(section, record, ox_wp_prop_section_x_label, "time stamp");
  default:
    return breaks(WALK_END) ? 0 : 1;
  }
}

static int get_variable_property(ox_wp_plugin_handle plugin, ox_wp_file_handle file,
                                 ox_wp_section_handle section, int variable, int index,
                                 _ox_wp_prop_type* record) {
  (void)plugin, (void)file;
  if (fail(record) && (!record || !section))
    return 1;
  struct file* owner = section;
  if (variable < 0 || variable >= owner->count)
    return breaks(OUTSIDE_VARIABLE) ? 0 : 1;
  static char last[sizeof owner->streams[0].name];
  const struct stream* s = &owner->streams[variable];
  const double length = (double)s->declared;
  switch (index) {
  case 0:
    return text(record, ox_wp_prop_variable_name,
                breaks(NAMES) ? memcpy(last, s->name, sizeof last) : s->name);
  case 1:
    return breaks(PROPERTY_TYPE) ? number(record, ox_wp_prop_variable_kind, 0)
                                 : integer(record, ox_wp_prop_variable_kind, 0);
  case 2:
    return integer(record, ox_wp_prop_variable_data_type, s->type);
  case 3:
    return integer(record, ox_wp_prop_sample_count, s->declared);
  case 4:
    return label(owner, record, ox_wp_prop_variable_x_label, "time stamp");
  case 5:
    return label(owner, record, ox_wp_prop_variable_y_label, "count");
  case 6:
    return number(record, ox_wp_prop_x_start, s->start);
  case 7:
    return number(record, ox_wp_prop_x_step, s->interval);
  case 8:
    return number(record, ox_wp_prop_x_end,
                  breaks(X_END) ? s->start + (length - 1) * s->interval
                                : fma(length, s->interval, s->start));
  default:
    return 1;
  }
}

static int copy_variable_data(ox_wp_plugin_handle plugin, ox_wp_file_handle file,
                              ox_wp_section_handle section, int variable, ox_wp_data_type type,
                              void* buffer, int size) {
  (void)plugin, (void)file;
  const struct file* owner = section;
  if (breaks(CRASH) && buffer == NULL)
    abort();
  if (!owner)
    return breaks(NULL_COPY) ? 0 : 1;
  if (variable < 0 || variable >= owner->count)
    return breaks(OUTSIDE_COPY) ? 0 : 1;
  if (type != ox_wp_type_double && !breaks(SAMPLE_TYPE))
    return 1;
  if (size < 0 && breaks(NEGATIVE_SIZE))
    memset(buffer, 0, 1);
  const long long room = (size + (breaks(BYTE_SIZE) ? 4 : 0)) / 8;
  const long long found = owner->streams[variable].found;
  if (!buffer)
    return 1;
  for (long long i = 0; i < room && i < found; ++i)
    ((double*)buffer)[i] = sample(i);
  const int filled = breaks(SHORT_COPY) ? room < found : room <= found;
  return filled || breaks(LONG_COPY) ? 0 : 1;
}

int ox_wp_plugin_initialize(_ox_wp_plugin_functions_type* table) {
  if (!table || table->version < 1) {
    if (table && breaks(REFUSED_TABLE))
      memset(table, 0, sizeof *table);
    return 1;
  }
  const _ox_wp_plugin_functions_type filled = {.version = breaks(VERSION) ? table->version
                                                                          : OX_WP_PLUGIN_VERSION,
                                               .plugin = create(),
                                               .get_plugin_property = get_plugin_property,
                                               .release = release,
                                               .get_error_message = get_error_message,
                                               .parse_file = parse_file,
                                               .reserved_48 = breaks(RESERVED_SLOT) ? table : NULL,
                                               .release_file = release_file,
                                               .release_all_files = release_all_files,
                                               .get_file_property = get_file_property,
                                               .get_section_handle = get_section_handle,
                                               .get_section_property = get_section_property,
                                               .get_variable_property = get_variable_property,
                                               .copy_variable_data = copy_variable_data};
  *table = filled;
  return 0;
}
