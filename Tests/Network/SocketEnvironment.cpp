// The library leaves socket initialisation, and stopping its network thread, to the application;
// this program is the application.
#include <Tarn/Network/ConnectionRegistry.h>

#include <gtest/gtest.h>

#if defined(_WIN32)
#include <winsock2.h>
#endif

namespace {
class SocketEnvironment : public testing::Environment {
public:
    void SetUp() override {
#if defined(_WIN32)
        WSADATA data;
        ASSERT_EQ(WSAStartup(MAKEWORD(2, 2), &data), 0);
#endif
    }
    void TearDown() override {
        Tarn::Network::closedown();
#if defined(_WIN32)
        WSACleanup();
#endif
    }
};

[[maybe_unused]] testing::Environment* const environment =
    testing::AddGlobalTestEnvironment(new SocketEnvironment);
} // namespace
