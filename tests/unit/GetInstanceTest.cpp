// A program of its own, since there is one instance for a whole process. Runs under
// umockdev-wrapper, which puts $UMOCKDEV_DIR in front of the device path.

#include "VaEeprom.h"

#include "FormattedRecords.h"
#include "MessageOf.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <stdexcept>

using vantorBoardSupport::VaEeprom;

TEST(GetInstance, TriesAgainAfterAFailureAndThenAlwaysReturnsTheSameRecord)
{
    const TemporaryDevice image(Version2Part());
    char testBed[] = "/tmp/test-bed-XXXXXX";
    ASSERT_NE(mkdtemp(testBed), nullptr);
    setenv("UMOCKDEV_DIR", testBed, 1);

    const size_t before = OpenDescriptors();
    for (int attempt = 0; attempt < 2; ++attempt) {
        EXPECT_EQ(MessageOf<std::logic_error>([] { VaEeprom::GetInstance(); }),
                  "Error: Open file descriptor: No such file or directory");
    }
    EXPECT_EQ(OpenDescriptors(), before);

    const auto directory = std::filesystem::path(testBed) / "sys/bus/i2c/devices/0-0050";
    std::filesystem::create_directories(directory);
    std::filesystem::create_symlink(image.Path(), directory / "eeprom");
    VaEeprom& record = VaEeprom::GetInstance();
    EXPECT_EQ(record.ReadPattern(), "Vantor");
    EXPECT_EQ(&VaEeprom::GetInstance(), &record);
    EXPECT_EQ(OpenDescriptors(), before + 1);

    std::filesystem::remove_all(testBed);
}
