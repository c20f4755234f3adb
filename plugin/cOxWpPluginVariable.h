// The part of a variable that does not depend on the format of the file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "plugin/cOxWpPluginProperty.h"
#include "plugin/ox_wp_plugin.h"

struct cOxWpPluginVariable {
  std::string name;
  std::uint64_t sampleCount = 0;
  std::int32_t dataType = ox_wp_type_none; // ox_wp_type_double: samples can be delivered
  std::vector<cOxWpPluginProperty> properties;
};
