// Any bytes into every cEncode decoder (and the RFC 2047 word reader): no crash,
// no read out of bounds, and what a decoder gives must survive its encoder's
// round trip.
#include "korvan/cEncode.h"

#include <cstdint>
#include <cstdlib>

namespace {

struct Pair {
    int encode;
    int decode;
};

constexpr Pair pairs[] = {
    {korvan::cEncode::EscapeBytes, korvan::cEncode::UnescapeBytes},
    {korvan::cEncode::Base64Encode, korvan::cEncode::Base64Decode},
    {korvan::cEncode::Base64LinesEncode, korvan::cEncode::Base64LinesDecode},
    {korvan::cEncode::UuEncode, korvan::cEncode::UuDecode},
    {korvan::cEncode::QuotedPrintableEncode, korvan::cEncode::QuotedPrintableDecode},
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    using korvan::cEncode;
    if (size == 0)
        return 0;
    // The first byte picks the decoder, so that each one is fuzzed on its own
    // corpus slice.
    const QByteArray input(reinterpret_cast<const char *>(data) + 1, qsizetype(size - 1));
    const std::size_t choice = data[0] % (std::size(pairs) + 1);
    if (choice == std::size(pairs)) {
        const QString text = QString::fromUtf8(input);
        const QString decoded = cEncode::DecodeENC(text);
        if (cEncode::DecodeENC(cEncode::ENC(decoded)) != decoded)
            std::abort();
        return 0;
    }
    const Pair pair = pairs[choice];
    const QByteArray decoded = cEncode::ConvBytes(input, pair.decode);
    if (cEncode::ConvBytes(cEncode::ConvBytes(decoded, pair.encode), pair.decode) != decoded)
        std::abort();
    return 0;
}
