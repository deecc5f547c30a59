#include "Lines.h"

#include <iostream>
#include <mutex>

namespace AppConfigTest {

void emit(const Json& line) {
    static std::mutex mutex;
    const std::lock_guard<std::mutex> lock(mutex);
    std::cout << line.dump() << std::endl;
}

}  // namespace AppConfigTest
