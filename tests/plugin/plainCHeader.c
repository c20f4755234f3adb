#include "plugin/ox_wp_plugin.h"
