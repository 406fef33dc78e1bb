#pragma once

// Connections and the registry that serves them, in one include.
#include <Tarn/Network/ConnectionBase.h>
#include <Tarn/Network/ConnectionRegistry.h>
#include <Tarn/Network/ConnectionTCP.h>
#include <Tarn/Network/ConnectionUDP.h>
