#include "Usage.h"

#include <cstdio>

// The text is fixed, also where it does not match what the program accepts: --mac0, --pattern and
// -raw are refused, and --type takes hexadecimal digits.
void printUsage()
{
    // clang-format off
    puts("Usage: kestrel <r/w> <element> [<argStr>]\n");
    puts("   --format_v1               e.g. kestrel --format_v1      erase and format whole EEPROM");
    puts("   --format_v2               e.g. kestrel --format_v2      erase and format whole EEPROM");
    puts("   --erase                   e.g. kestrel --erase          erase whole EEPROM");
    puts("   --mac1 [MAC]              e.g. kestrel -w --mac1 \"02:a5:5e:00:00:00\"");
    puts("   --mac2 [MAC]              e.g. kestrel -w --mac2 \"02:a5:5e:00:00:00\"");
    puts("   --mac3 [MAC]              e.g. kestrel -w --mac3 \"02:a5:5e:00:00:00\"");
    puts("   --mac4 [MAC]              e.g. kestrel -w --mac4 \"02:a5:5e:00:00:00\"");
    puts("   --productiondate [DATE]   e.g. kestrel -w --productiondate \"YYYY-MM-DD HH:MM:SS\"");
    puts("   --servicedate [DATE]      e.g. kestrel -w --servicedate \"YYYY-MM-DD HH:MM:SS\"");
    puts("   --type [BYTE]             e.g. kestrel -w --type 30 ");
    puts("   --hardware_rev [REV]      e.g. kestrel -w --hardware_rev \"000\"");
    puts("   --pcb_rev [REV]           e.g. kestrel -w --pcb_rev \"000\"");
    puts("   --pcb_ser_num [ASCII]     e.g. kestrel -w --pcb_ser_num \"000000000000\"");
    puts("   --ser_num [ASCII]         e.g. kestrel -w --ser_num \"0000000000000\"");
    puts("   --mac0 [MAC]              e.g. kestrel -r --mac0         print readMac0 Address");
    puts("   --crc                     e.g. kestrel -r --crc          print CCITT-32 CRC");
    puts("   --version                 e.g. kestrel -r --version      print EEPROM format version");
    puts("   --pattern                 e.g. kestrel -r --pattern      print format pattern \"Vantor\"");
    puts("   --valid                   e.g. kestrel -r --valid        print CRC check true or false");
    puts("   --raw                     e.g. kestrel -raw              print EEPROM");
    // clang-format on
}
