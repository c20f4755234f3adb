// A property that a file or a variable stores, with its own copies of the record's strings.
#pragma once

#include <string>

#include "plugin/ox_wp_plugin.h"

struct cOxWpPluginProperty {
  cOxWpPluginProperty() = default;
  // Not explicit: a record can stand wherever a property is taken.
  cOxWpPluginProperty(const _ox_wp_prop_type& source)
      : record(source), labelText(source.label ? source.label : ""),
        valueText(source.string_value ? source.string_value : "") {}

  // Returns the record for a host, with pointers to this property's own strings. They are set here
  // and not when the property is stored, because a stored property can move.
  _ox_wp_prop_type delivered() const noexcept {
    _ox_wp_prop_type result = record;
    result.label = labelText.c_str();
    result.string_value = valueText.c_str();
    return result;
  }

  _ox_wp_prop_type record = {}; // its pointers are those of the source and may dangle
  std::string labelText;
  std::string valueText;
};
