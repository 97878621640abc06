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

void CountAllocFail()
{
    ++g_allocFails;
}
} // namespace

TEST(Platform, HooksAreInstalledAndRestored)
{
    QMessageBoxProc original = sktSetMessageBoxProc(&RecordMessage);
    ASSERT_NE(original, nullptr);
    sktShowMessage("\xC4\xE3\xBA\xC3");
    EXPECT_EQ(g_shown, "\xC4\xE3\xBA\xC3");
    EXPECT_EQ(sktSetMessageBoxProc(original), &RecordMessage);

    g_allocFails = 0;
    QAllocFailProc originalAlloc = sktSetAllocFailProc(&CountAllocFail);
    ASSERT_NE(originalAlloc, nullptr);
    sktAllocFailed();
    EXPECT_EQ(g_allocFails, 1);
    EXPECT_EQ(sktSetAllocFailProc(nullptr), &CountAllocFail);
    EXPECT_THROW(sktAllocFailed(), std::bad_alloc);
    sktSetAllocFailProc(originalAlloc);
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
