// A property kept by a file or a variable, with its own copies of the record's texts.
#pragma once

#include <string>

#include "plugin/ox_wp_plugin.h"

struct cOxWpPluginProperty {
  explicit cOxWpPluginProperty(const _ox_wp_prop_type& source)
      : record(source), labelText(source.label ? source.label : ""),
        valueText(source.string_value ? source.string_value : "") {}

  // The record as it would be handed to a host: its texts are this property's own.
  // They are pointed to only now because a stored property can move.
  _ox_wp_prop_type delivered() const noexcept {
    _ox_wp_prop_type result = record;
    result.label = labelText.c_str();
    result.string_value = valueText.c_str();
    return result;
  }

  _ox_wp_prop_type record; // its pointers are the source's and may dangle
  std::string labelText;
  std::string valueText;
};
