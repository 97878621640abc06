// The message-box and allocation-failure hooks a host installs.
#include "ModelTestSupport.h"

#include <new>
#include <string>

namespace
{
std::string g_shown;
int g_allocFails = 0;

void RecordMessage(const char* text)
{
    g_shown = text;
}

void OtherMessage(const char*) {}

void CountAllocFail()
{
    ++g_allocFails;
}
} // namespace

TEST(Platform, MessageBoxProcIsInstalledAndRestored)
{
    QMessageBoxProc original = sktSetMessageBoxProc(&RecordMessage);
    ASSERT_NE(original, nullptr);

    sktShowMessage("\xC4\xE3\xBA\xC3");
    QMessageBoxProc mine = sktSetMessageBoxProc(&OtherMessage);
    QMessageBoxProc other = sktSetMessageBoxProc(nullptr);
    QMessageBoxProc restored = sktSetMessageBoxProc(original);

    EXPECT_EQ(g_shown, "\xC4\xE3\xBA\xC3");
    EXPECT_EQ(mine, &RecordMessage);
    EXPECT_EQ(other, &OtherMessage);
    EXPECT_EQ(restored, original);
}

TEST(Platform, DefaultMessageBoxWritesUtf8ToStandardError)
{
    QMessageBoxProc previous = sktSetMessageBoxProc(nullptr);

    testing::internal::CaptureStderr();
    sktShowMessage("\xC4\xE3\xBA\xC3 ok");
    std::string written = testing::internal::GetCapturedStderr();

    EXPECT_NE(written.find("\xE4\xBD\xA0\xE5\xA5\xBD ok"), std::string::npos) << written;
    sktSetMessageBoxProc(previous);
}

TEST(Platform, AllocFailProcIsInstalledAndRestored)
{
    g_allocFails = 0;
    QAllocFailProc original = sktSetAllocFailProc(&CountAllocFail);
    ASSERT_NE(original, nullptr);

    sktAllocFailed();
    QAllocFailProc mine = sktSetAllocFailProc(nullptr);

    EXPECT_EQ(g_allocFails, 1);
    EXPECT_EQ(mine, &CountAllocFail);
    EXPECT_THROW(sktAllocFailed(), std::bad_alloc);
    EXPECT_EQ(sktSetAllocFailProc(original), original);
}
