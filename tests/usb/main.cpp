#include <gmock/gmock.h>

#include "tests/usb/fake_usb.h"

int main(int count, char** arguments) {
    fake_usb::enterFakeUsb(arguments);
    testing::InitGoogleMock(&count, arguments);
    return RUN_ALL_TESTS();
}
