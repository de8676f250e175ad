// tq4cam: the camera user's tool. Telegram and image commands go through the driver library,
// loaded at run time as the camera SDK loads it; list, features, get and set look at the
// producers and the camera's features directly, through the driver's own transport classes.
#include <CLI/CLI.hpp>

#include <exception>
#include <string>
#include <vector>

#include "tools/Commands.h"

namespace {

using namespace tq4::tools;

void addSettingOptions(CLI::App& command, CameraSettings& s) {
    command.add_option("--exposure", s.exposure, "exposure time, e.g. 10ms, 250us, 1s (a bare number is us)");
    command.add_option("--delay", s.delay, "delay before the exposure, as --exposure");
    command.add_option("--roi", s.roi, "region X0,Y0,X1,Y1: first and last column and row, from 1");
    command.add_option("--binning", s.binning, "binning factor for both axes");
    command.add_option("--trigger", s.trigger, "auto, software, external or width");
    command.add_option("--timestamp", s.timestamp, "time stamp in the image: none, binary, both or readable");
    command.add_option("--bit-alignment", s.bitAlignment, "msb or lsb");
}

int run(int argc, char** argv) {
    CLI::App app{"tq4cam: look at cameras, change their settings and take images through the tq4_genicam driver"};
    app.set_version_flag("--version", "tq4cam 1.9.0");
    GlobalOptions global;
    CLI::Option* number =
        app.add_option("--num", global.camera.number, "the camera of this number in tq4cam list (default 0)");
    app.add_option("--serial", global.camera.serial, "the camera of this serial number")->excludes(number);
    app.add_option("--producers", global.producers, "producer list, e.g. ZEVO.cti:Other.cti (default: the ini file's)");
    app.add_option("--lib", global.libraryPath, "the driver library to load");
    app.add_flag("--raw", global.raw, "also print every telegram's bytes");
    app.require_subcommand(0, 1);

    CLI::App* info = app.add_subcommand("info", "identity and status of the camera (the default)");
    std::vector<std::string> rawWords;
    CLI::App* raw = app.add_subcommand("raw", "send one telegram: CODE as four hex digits, then payload bytes in hex");
    raw->add_option("words", rawWords, "e.g. 0110, or 0A10 01000000")->required();
    CLI::App* version = app.add_subcommand("version", "the driver library's version");
    CLI::App* list = app.add_subcommand("list", "producers on the search path, their cameras and camera numbers");
    std::string filter;
    CLI::App* featuresCommand =
        app.add_subcommand("features", "the camera's features with type, access, value, limits");
    featuresCommand->add_option("filter", filter, "only features whose name contains this");
    std::vector<std::string> names;
    CLI::App* get = app.add_subcommand("get", "features by name");
    get->add_option("names", names, "feature names")->required();
    std::vector<std::string> assignments;
    CLI::App* set = app.add_subcommand("set", "write features: NAME=VALUE ...");
    set->add_option("assignments", assignments, "NAME=VALUE")->required();
    CameraSettings settings;
    CLI::App* control = app.add_subcommand("control", "everyday settings through the driver's telegrams");
    addSettingOptions(*control, settings);
    GrabOptions grab;
    CLI::App* grabCommand = app.add_subcommand("grab", "take images into files through the driver");
    grabCommand->add_option("-n,--frames", grab.frames, "number of images (default 10)");
    grabCommand->add_option("-o,--output", grab.folder, "folder for the files")->required();
    grabCommand->add_option("--format", grab.format, "tiff (the data), png (8-bit preview) or pgm")
        ->check(CLI::IsMember({"tiff", "png", "pgm"}));
    grabCommand->add_option("--buffers", grab.buffers, "caller buffers in the ring (default 4)");
    grabCommand->add_option("--timeout", grab.timeoutMs, "longest wait for one image in ms (default 5000)");
    grabCommand->add_flag("--overwrite", grab.overwrite,
                          "remove the frames of an earlier grab from the folder first (else such a folder is refused)");
    addSettingOptions(*grabCommand, settings);
    grabCommand->get_option("--timestamp")
        ->description("time stamp in the image: none (the default: the data untouched), binary, both or readable");
#ifdef TQ4_LIVE_VIEW
    ViewOptions view;
    CLI::App* viewCommand =
        app.add_subcommand("view", "live images in a window (GStreamer's tq4src), frame number and rate shown");
    viewCommand->add_option("-n,--frames", view.frames, "end after this many images (default: until closed)");
    viewCommand->add_option("--sink", view.sink, "the GStreamer element that shows them (default autovideosink)");
    addSettingOptions(*viewCommand, settings);
#endif

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        // Help and version end the program with 0; every argument error with 2.
        return app.exit(e) == 0 ? 0 : 2;
    }

    if (*raw) return runRaw(global, rawWords);
    if (*version) return runVersion(global);
    if (*list) return runList(global);
    if (*featuresCommand) return runFeatures(global, filter);
    if (*get) return runGet(global, names);
    if (*set) return runSet(global, assignments);
    if (*control) return runControl(global, settings);
    if (*grabCommand) return runGrab(global, settings, grab);
#ifdef TQ4_LIVE_VIEW
    if (*viewCommand) return runView(global, settings, view);
#endif
    (void)info;
    return runInfo(global);
}

}  // namespace

// An error no command reports itself ends the program with its text and 1.
int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& e) {
        complain(e.what());
    } catch (...) {
        complain("unknown error");
    }
    return 1;
}
