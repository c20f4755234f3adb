/* The boundary's header must compile by itself, as strict C99. */
#include "plugin/ox_wp_plugin.h"
