// Border modes and the fetchers that read beyond an image's edges.
#include "core/border.h"
