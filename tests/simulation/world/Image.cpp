#include "world/Image.h"

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace Simulation {

namespace {

[[noreturn]] void giveUp(const std::string& what) {
    std::fprintf(stderr, "simulation: %s\n", what.c_str());
    std::exit(2);
}

struct Search {
    const char* inside;
    ThreadLocals found;
};

/// Takes the module whose thread-local variables enclose the one that is searched for.
int examine(dl_phdr_info* info, std::size_t, void* data) {
    auto& search = *static_cast<Search*>(data);
    for (int i = 0; i < info->dlpi_phnum; ++i) {
        const ElfW(Phdr)& header = info->dlpi_phdr[i];
        if (header.p_type != PT_TLS) continue;
        char* const begin = static_cast<char*>(info->dlpi_tls_data);
        if (begin == nullptr || search.inside < begin || search.inside >= begin + header.p_memsz) continue;
        search.found.address = begin;
        search.found.size = header.p_memsz;
        return 1;
    }
    return 0;
}

Image load(const std::string& file) {
    // The loader takes two names of one file for one library, so each copy is a file.
    void* const handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) giveUp(dlerror());
    const auto entry = reinterpret_cast<ProcessEntry*>(dlsym(handle, "simulationProcess"));
    if (entry == nullptr) giveUp(file + " has no entry");
    Image image;
    image.code = entry();
    Search search{static_cast<const char*>(image.code->threadLocal()), {}};
    dl_iterate_phdr(examine, &search);
    if (search.found.address == nullptr) giveUp(file + ": the thread-local variables cannot be found");
    image.locals = search.found;
    image.initialLocals.assign(search.found.address, search.found.address + search.found.size);
    return image;
}

}  // namespace

Images::Images(const std::string& file, int count) {
    std::string directory = (std::filesystem::temp_directory_path() / "simulation-XXXXXX").string();
    if (mkdtemp(directory.data()) == nullptr) giveUp("no directory for the copies");
    for (int i = 0; i < count; ++i) {
        const std::string copy = directory + "/process" + std::to_string(i + 1) + ".so";
        std::error_code error;
        std::filesystem::copy_file(file, copy, error);
        if (error) giveUp("cannot copy " + file + ": " + error.message());
        m_images.push_back(load(copy));
    }
    for (Image& image : m_images) image.locals.initial = image.initialLocals.data();
    // Loaded is loaded: nothing is left behind whatever becomes of the program.
    std::filesystem::remove_all(directory);
}

Image* Images::take() {
    return m_next < m_images.size() ? &m_images[m_next++] : nullptr;
}

}  // namespace Simulation
