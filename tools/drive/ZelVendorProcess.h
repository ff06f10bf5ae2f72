#pragma once

#include "drive/ZelVendor.h"

using ZelVendorProcess = ZelVendor;
