#pragma once

// A folder that is no layer: the layer check must refuse it, so each new folder gets a place.

#include "low/Low.h"
