// Any text as a connect address: must never crash, and never touch the port.
#include "component/ConnectAddress.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    korvan::FtpSettings settings;
    settings.nFTPPort = 4321;
    korvan::ParseConnectAddress(QString::fromUtf8(reinterpret_cast<const char *>(data), qsizetype(size)), settings);
    if (settings.nFTPPort != 4321)
        std::abort();
    return 0;
}
