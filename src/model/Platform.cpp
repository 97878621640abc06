// Default platform hooks: a console stands in for the modal message box, and a failed
// allocation ends the call the way the allocator's own failure would.
#include "model/Platform.h"

#include <cstdio>
#include <cstring>
#include <iconv.h>
#include <new>
#include <string>

namespace
{
void DefaultMessageBox(const char* text)
{
    // The texts are GBK bytes; a console wants UTF-8.
    std::string out;
    iconv_t cd = iconv_open("UTF-8", "GBK");
    if (cd != reinterpret_cast<iconv_t>(-1))
    {
        size_t inLeft = std::strlen(text);
        std::string buffer(inLeft * 4 + 4, '\0');
        char* in = const_cast<char*>(text);
        char* outPtr = &buffer[0];
        size_t outLeft = buffer.size();
        if (iconv(cd, &in, &inLeft, &outPtr, &outLeft) != static_cast<size_t>(-1))
        {
            out.assign(&buffer[0], buffer.size() - outLeft);
        }
        iconv_close(cd);
    }
    if (out.empty())
    {
        out = text;
    }
    std::fprintf(stderr, "%s\n", out.c_str());
}

void DefaultAllocFail()
{
    throw std::bad_alloc();
}

QMessageBoxProc g_messageBoxProc = &DefaultMessageBox;
QAllocFailProc g_allocFailProc = &DefaultAllocFail;
} // namespace

QMessageBoxProc sktSetMessageBoxProc(QMessageBoxProc proc)
{
    QMessageBoxProc previous = g_messageBoxProc;
    g_messageBoxProc = proc != nullptr ? proc : &DefaultMessageBox;
    return previous;
}

QAllocFailProc sktSetAllocFailProc(QAllocFailProc proc)
{
    QAllocFailProc previous = g_allocFailProc;
    g_allocFailProc = proc != nullptr ? proc : &DefaultAllocFail;
    return previous;
}

void sktShowMessage(const char* gbkText)
{
    g_messageBoxProc(gbkText);
}

void sktAllocFailed()
{
    g_allocFailProc();
}

void sktAllocFailedAtBoundary() noexcept
{
    try
    {
        g_allocFailProc();
    }
    catch (...)
    {
        // The default handler throws, as the allocator would: the call ends here either way.
    }
}
