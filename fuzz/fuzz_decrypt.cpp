// Any text as an enciphered password: Decrypt must not crash, must refuse a
// text over the length limit with CipherLengthError only, and must give back
// what Encrypt made of its result (the cipher has no invalid input).
#include "encoding/Windows1252.h"
#include "sites/mmEncrypt.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    using namespace korvan;
    const QString text = windows1252::toUnicode(QByteArray(reinterpret_cast<const char *>(data), qsizetype(size)));
    QString password;
    try {
        password = mmEncrypt::Decrypt(text);
    } catch (const CipherLengthError &) {
        if (text.size() <= mmEncrypt::maxTextLength)
            std::abort();
        return 0;
    }
    if (text.size() > mmEncrypt::maxTextLength)
        std::abort();
    // Every password of code-page characters deciphers back from its cipher text.
    if (password.size() <= mmEncrypt::maxTextLength / 4 && mmEncrypt::Decrypt(mmEncrypt::Encrypt(password)) != password)
        std::abort();
    return 0;
}
