#include "os/Fibre.h"

#include <sys/mman.h>

#include <cstring>
#include <new>

namespace Simulation {

namespace {

constexpr std::uint64_t firstHandle = 0x51000000;
constexpr std::size_t guardSize = 4096;

std::vector<void*>& freeStacks() {
    static std::vector<void*> stacks;
    return stacks;
}

void* mapStack() {
    void* const base =
        mmap(nullptr, StackPool::stackSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (base == MAP_FAILED) throw std::bad_alloc();
    mprotect(base, guardSize, PROT_NONE);
    return base;
}

}  // namespace

Fibre::Fibre(Process& process, int number, std::function<void()> body)
    : m_process(process),
      m_number(number),
      m_name(process.name + "." + std::to_string(++process.threads)),
      m_handle(firstHandle + static_cast<std::uint64_t>(number)),
      m_body(std::move(body)),
      m_locals(process.locals.initial, process.locals.initial + process.locals.size) {}

/// Puts this fibre's thread-local variables in their place, once those of the fibre that ran last are saved.
void Fibre::exchangeLocals() {
    if (m_process.loaded == this || m_process.locals.size == 0) return;
    const ThreadLocals& locals = m_process.locals;
    if (m_process.loaded != nullptr) std::memcpy(m_process.loaded->m_locals.data(), locals.address, locals.size);
    std::memcpy(locals.address, m_locals.data(), locals.size);
    m_process.loaded = this;
}

void StackPool::prepare(int count) {
    for (int i = 0; i < count; ++i) freeStacks().push_back(mapStack());
}

boost::context::stack_context StackPool::allocate() {
    void* base = nullptr;
    if (freeStacks().empty()) {
        base = mapStack();
    } else {
        base = freeStacks().back();
        freeStacks().pop_back();
    }
    boost::context::stack_context stack;
    stack.size = stackSize;
    stack.sp = static_cast<char*>(base) + stackSize;
    return stack;
}

void StackPool::deallocate(boost::context::stack_context& stack) {
    freeStacks().push_back(static_cast<char*>(stack.sp) - stack.size);
}

}  // namespace Simulation
