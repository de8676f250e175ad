#include "gentl-module/GenTLModule.h"

#include <filesystem>
#include <system_error>

#include "gentl-module/DataFolder.h"
#include "log/Log.h"

namespace tq4::gentl {

namespace {

const char* const kLibraryFolderProducer = "ZEVO.cti";

// The producer search list: the folders of GENICAM_GENTL64_PATH in their order, then the
// current directory, then the driver data directory. An unset or empty variable adds no
// (empty) piece in front of the current directory.
std::string producerSearchList() {
    const std::string variable = std::string("GENICAM_GENTL") + "64" + "_PATH";
    const std::string unexpanded = "$(" + variable + ")";
    TQ4_LOG(log::kProgress, nullptr, "GenTLModule::findProducer: Loading %s ...", unexpanded.c_str());

    const char sep = platform::gentlPathListSeparator();
    std::string list = platform::getEnvironment(variable.c_str());
    if (!list.empty() && list.back() != sep) list += sep;

    std::string current;
    if (!platform::currentDirectory(current))
        throw std::filesystem::filesystem_error("cannot read the current directory",
                                                std::make_error_code(std::errc::io_error));
    list += current;

    const std::string dataFolder = driverDataDirectory();
    if (!dataFolder.empty()) list += sep + dataFolder;
    return list;
}

}  // namespace

GenTLModule::GenTLModule(const std::string& producerName) : path_(findProducer(producerName)) { load(); }

GenTLModule::~GenTLModule() {
    try {
        deinit();
        TQ4_LOG(log::kProgress, nullptr, "GenTLModule::~GenTLModule: deinit done.");
    } catch (...) {
        // The library is unloaded whatever the producer's GCCloseLib did.
    }
    if (module_) platform::unloadModule(module_);
    module_ = nullptr;
}

std::vector<std::string> GenTLModule::searchFolders() {
    const std::string list = producerSearchList();
    const char sep = platform::gentlPathListSeparator();
    std::vector<std::string> folders;
    std::size_t start = 0;
    while (start <= list.size()) {
        std::size_t end = list.find(sep, start);
        if (end == std::string::npos) end = list.size();
        folders.push_back(list.substr(start, end - start));
        start = end + 1;
    }
    return folders;
}

std::string GenTLModule::findProducer(const std::string& name) {
    for (const std::string& folder : searchFolders()) {
        // Piece, separator, name: an empty piece names the root folder, as on Windows the root
        // of the current drive, never the current directory out of turn.
        const char separator = platform::pathSeparator();
        std::string candidate = folder;
        if (folder.empty() || folder.back() != separator) candidate += separator;
        candidate += name;
        TQ4_LOG(log::kVerbose, nullptr, "GenTLModule::findProducer: %s", candidate.c_str());
        if (platform::fileExists(candidate)) {
            TQ4_LOG(log::kProgress, nullptr, "GenTLModule::findProducer: GenTL Producer found: %s", candidate.c_str());
            return candidate;
        }
    }
    TQ4_LOG(log::kProgress, nullptr, "GenTLModule::findProducer: CTI not found. Set to \"%s\".", name.c_str());
    return name;
}

// Only the vendor's own producer brings libraries of its own beside it; for it the library
// search folder is pointed at the producer's folder. The name comparison is exact.
void GenTLModule::load() {
    const std::filesystem::path path(path_);
    if (path.filename() == kLibraryFolderProducer) {
        std::string folder = path.parent_path().string();
        while (folder.size() > 1 && folder.back() == platform::pathSeparator()) folder.pop_back();
        platform::setLibrarySearchFolder(folder);
    }
    module_ = platform::loadModule(path_);
}

bool GenTLModule::init() {
    if (initialised_) deinit();
    if (!module_) {
        TQ4_LOG(log::kError, nullptr, "GenTLModule::init: cti file not valid.");
        return initialised_;
    }
    // A library without GCInitLib is not a producer: reported like a file that did not load.
    fn_.GCInitLib = reinterpret_cast<GenTL::PGCInitLib>(platform::moduleSymbol(module_, "GCInitLib"));
    if (!fn_.GCInitLib) {
        TQ4_LOG(log::kError, nullptr, "GenTLModule::init: cti file not valid.");
        return false;
    }
    const GenTL::GC_ERROR status = fn_.GCInitLib();
    initialisedElsewhere_ = status == GenTL::GC_ERR_RESOURCE_IN_USE;
    if (initialisedElsewhere_) {
        TQ4_LOG(log::kProgress, nullptr, "GenTLModule::init: GCInitLib() done before in this process, used as it is.");
    } else if (status != GenTL::GC_ERR_SUCCESS) {
        TQ4_LOG(log::kError, nullptr, "GenTLModule::init: GCInitLib() failed. GC Error: %d", status);
        fn_.GCInitLib = nullptr;
        return false;
    } else {
        TQ4_LOG(log::kProgress, nullptr, "GenTLModule::init: GCInitLib() succeed.");
    }
    resolveOptionalEntries();
    initialised_ = true;
    return true;
}

void GenTLModule::resolveOptionalEntries() {
#define TQ4_GENTL_RESOLVE(name)            \
    if (std::string(#name) != "GCInitLib") \
        fn_.name = reinterpret_cast<GenTL::P##name>(platform::moduleSymbol(module_, #name));
    TQ4_GENTL_FUNCTION_LIST(TQ4_GENTL_RESOLVE)
#undef TQ4_GENTL_RESOLVE
}

void GenTLModule::deinit() {
    if (!initialised_) return;
    if (fn_.GCCloseLib && !initialisedElsewhere_) fn_.GCCloseLib();
    fn_ = GenTLFunctions{};
    initialised_ = false;
}

}  // namespace tq4::gentl
