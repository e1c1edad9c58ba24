// Any text as an enciphered password: Decrypt must not crash and must give
// back what Encrypt made of its result (the cipher has no invalid input).
#include "encoding/Windows1252.h"
#include "sites/mmEncrypt.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    using namespace korvan;
    const QString text = windows1252::toUnicode(QByteArray(reinterpret_cast<const char *>(data), qsizetype(size)));
    if (text.size() > mmEncrypt::maxTextLength)
        return 0;
    const QString password = mmEncrypt::Decrypt(text);
    // Every password of code-page characters deciphers back from its cipher text.
    if (password.size() <= mmEncrypt::maxTextLength / 4 && mmEncrypt::Decrypt(mmEncrypt::Encrypt(password)) != password)
        std::abort();
    return 0;
}
