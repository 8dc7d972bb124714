#include "base/gateway.h"

GatewaySettings gateway;
