// The library leaves socket initialisation to the application; this program is the application.
#if defined(_WIN32)
#include <gtest/gtest.h>

#include <winsock2.h>

namespace {
class SocketEnvironment : public testing::Environment {
public:
    void SetUp() override {
        WSADATA data;
        ASSERT_EQ(WSAStartup(MAKEWORD(2, 2), &data), 0);
    }
    void TearDown() override { WSACleanup(); }
};

[[maybe_unused]] testing::Environment* const environment =
    testing::AddGlobalTestEnvironment(new SocketEnvironment);
} // namespace
#endif
