#include <google/protobuf/stubs/common.h>

#include "Resident.h"

int main() {
    GOOGLE_PROTOBUF_VERIFY_VERSION;
    printResident();
    return 0;
}
