// Border modes and the fetchers that read beyond an image's edges.
#pragma once

#include "zol.h"
