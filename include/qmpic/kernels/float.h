#pragma once

#include <cstdint>

#include "qmpic/export.h"
