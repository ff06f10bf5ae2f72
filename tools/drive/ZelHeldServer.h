#pragma once

#include "vendorserver/ZelServer.h"

using ZelHeldServer = ZelServer;
