#pragma once

// A low layer's header reaching up: the layer check must refuse it.

#include "high/High.h"
