#include "src/ftdi/ftd2xx.h"

#include <gtest/gtest.h>

#include <cstring>

#include "tests/support/scripted_driver.h"

namespace kovgui::ftdi {

class Ftd2xx : public testing::Test {
protected:
    void SetUp() override { setDriver(scripted); }
    void TearDown() override {
        for (FT_HANDLE handle : opened)
            FT_Close(handle);
        setDriver(nullptr);
    }
    FT_HANDLE open(const char* serial) {
        FT_HANDLE handle = nullptr;
        EXPECT_EQ(FT_OpenEx(serial, FT_OPEN_BY_SERIAL_NUMBER, &handle), FT_OK);
        opened.push_back(handle);
        return handle;
    }

    std::shared_ptr<ScriptedDriver> scripted = std::make_shared<ScriptedDriver>();
    std::vector<FT_HANDLE> opened;
};

TEST_F(Ftd2xx, ListIsTheOneBuiltLast) {
    scripted->plug("A");
    scripted->plug("B", 0x04036001, std::string(80, 'd'));
    const FT_HANDLE handle = open("B");
    DWORD count = 0;
    ASSERT_EQ(FT_CreateDeviceInfoList(&count), FT_OK);
    ASSERT_EQ(count, 2u);
    scripted->unplug("A");

    FT_DEVICE_LIST_INFO_NODE list[3];
    count = 3;
    ASSERT_EQ(FT_GetDeviceInfoList(list, &count), FT_OK);
    ASSERT_EQ(count, 2u);
    EXPECT_STREQ(list[0].SerialNumber, "A");
    EXPECT_EQ(list[0].ID, 0x04037F80u);
    EXPECT_EQ(list[0].Flags, 0u);
    EXPECT_EQ(list[0].ftHandle, nullptr);
    EXPECT_EQ(list[1].Flags, FT_FLAGS_OPENED);
    EXPECT_EQ(list[1].ftHandle, handle);
    EXPECT_EQ(std::strlen(list[1].Description), 63u);

    count = 1;
    ASSERT_EQ(FT_GetDeviceInfoList(list, &count), FT_OK);
    EXPECT_EQ(count, 1u);
}

TEST_F(Ftd2xx, OpensByIndexAndBySerial) {
    scripted->plug("A");
    const auto b = scripted->plug("B");
    FT_HANDLE handle = nullptr;
    EXPECT_EQ(FT_Open(2, &handle), FT_DEVICE_NOT_FOUND);
    EXPECT_EQ(FT_Open(-1, &handle), FT_DEVICE_NOT_FOUND);
    EXPECT_EQ(FT_OpenEx("C", FT_OPEN_BY_SERIAL_NUMBER, &handle), FT_DEVICE_NOT_FOUND);
    EXPECT_EQ(handle, nullptr);
    ASSERT_EQ(FT_Open(1, &handle), FT_OK);
    EXPECT_TRUE(b->isOpen());
    FT_HANDLE second = nullptr;
    EXPECT_EQ(FT_OpenEx("B", FT_OPEN_BY_SERIAL_NUMBER, &second), FT_DEVICE_NOT_OPENED);
    EXPECT_EQ(FT_Close(handle), FT_OK);
    EXPECT_FALSE(b->isOpen());
}

TEST_F(Ftd2xx, AStaleHandleReachesNobody) {
    const auto a = scripted->plug("A");
    const FT_HANDLE stale = open("A");
    ASSERT_EQ(FT_Close(stale), FT_OK);
    open("A");
    a->clearCalls();
    for (const FT_HANDLE handle : {stale, FT_HANDLE{nullptr}, reinterpret_cast<FT_HANDLE>(0xDEADBEEF)}) {
        DWORD number = 0;
        UCHAR byte = 0;
        EXPECT_EQ(FT_Close(handle), FT_INVALID_HANDLE);
        EXPECT_EQ(FT_GetStatus(handle, &number, &number, &number), FT_INVALID_HANDLE);
        EXPECT_EQ(FT_Read(handle, &byte, 1, &number), FT_INVALID_HANDLE);
        EXPECT_EQ(FT_Write(handle, &byte, 1, &number), FT_INVALID_HANDLE);
        EXPECT_EQ(FT_ResetPort(handle), FT_INVALID_HANDLE);
    }
    EXPECT_TRUE(a->calls().empty());
}

TEST_F(Ftd2xx, ASetAsksOneDriverAfterTheOther) {
    const auto second = std::make_shared<ScriptedDriver>();
    scripted->plug("Z");
    second->plug("A");
    DriverSet both({scripted, second});
    const auto nodes = both.enumerate();
    ASSERT_EQ(nodes.size(), 2u);
    EXPECT_EQ(nodes[0].serial, "Z");

    std::unique_ptr<Port> port;
    EXPECT_EQ(both.open("A", &port), FT_OK);
    std::unique_ptr<Port> again;
    EXPECT_EQ(both.open("A", &again), FT_DEVICE_NOT_OPENED);
    EXPECT_EQ(both.open("B", &again), FT_DEVICE_NOT_FOUND);

    int changes = 0;
    auto watch = both.watch([&] { ++changes; });
    second->plug("B");
    scripted->unplug("Z");
    EXPECT_EQ(changes, 2);
    watch.reset();
    scripted->plug("Z");
    EXPECT_EQ(changes, 2);
}

}  // namespace kovgui::ftdi
