#include "FormattedRecords.h"

namespace {

const Bytes kPattern = {'V', 'a', 'n', 't', 'o', 'r'};
const Bytes kMacAndGap = {0x02, 0xa5, 0x5e, 0x00, 0x00, 0x00, 0x00, 0x00};
const Bytes kDate = {0x14, 0x0e, 0x01, 0x01, 0x00, 0x00, 0x00};
const Bytes kId = {0x02, 0xa5, 0x5e, 0x00, 0x00, 0x00, 0x00, 0x00};

} // namespace

Bytes FormattedVersion1()
{
    return Bytes{0x00, 0x01} + kPattern + kMacAndGap + kMacAndGap + kMacAndGap + kMacAndGap +
           kDate + kDate + Bytes{0x00, 0x30} + BytesOf("000") + BytesOf("000") +
           BytesOf("000000000000") + BytesOf("0000000000000") + kId + kId +
           Bytes{0x01, 0x9b, 0x48, 0x51} + Bytes(21, 0);
}

Bytes FormattedVersion2()
{
    return Bytes{0x00, 0x02} + kPattern + kMacAndGap + kMacAndGap + kMacAndGap + kMacAndGap +
           kMacAndGap + kMacAndGap + kDate + kDate + Bytes{0x00, 0x30} + BytesOf("000") +
           BytesOf("000") + BytesOf("000000000000") + Bytes(24, 0) + BytesOf("0000000000000") +
           kId + kId + Bytes(32, 0) + Bytes{0x10, 0x5c, 0x80, 0x00} +
           Bytes{0x5e, 0xee, 0x56, 0xe3} + Bytes(72, 0);
}

Bytes Version2Part()
{
    return FormattedVersion2() + Bytes(2048 - 255, 0xFF);
}
