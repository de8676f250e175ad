// Every export that takes a camera handle, called with harmless other arguments, so that a
// test can run the same handle case through all of them.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "tq4_genicam.h"

namespace tq4::test {

struct HandleExport {
    const char* name;
    bool checksAccess;  // the transfer-parameter calls answer for any registered camera
    std::function<uint32_t(TQ4_HANDLE)> call;
};

inline std::vector<HandleExport> handleExports() {
    return {
        {"Control_Command", true,
         [](TQ4_HANDLE h) {
             const uint8_t request[5] = {0x10, 0x01, 0x05, 0x00, 0x16};
             uint8_t response[512];
             return Control_Command(h, request, 5, response, sizeof response);
         }},
        {"Set_Timeouts", true,
         [](TQ4_HANDLE h) {
             const uint32_t timeouts[2] = {1000, 2000};
             return Set_Timeouts(h, timeouts, sizeof timeouts);
         }},
        {"Get_Generation_Count", true,
         [](TQ4_HANDLE h) {
             uint32_t count = 0;
             return Get_Generation_Count(h, &count);
         }},
        {"Get_Image_Queued", true,
         [](TQ4_HANDLE h) {
             uint8_t image[64];
             return Get_Image_Queued(h, 10, 0, 0, 0, 0, image, sizeof image);
         }},
        {"Set_Image_Buffer", true,
         [](TQ4_HANDLE h) {
             uint8_t image[64];
             uint32_t status = 0;
             return Set_Image_Buffer(h, reinterpret_cast<TQ4_HANDLE>(intptr_t(1)), 0, 0, 0, 0, image, sizeof image,
                                     &status);
         }},
        {"Cancel_Images", true, [](TQ4_HANDLE h) { return Cancel_Images(h); }},
        {"Get_Pending_Buffer", true,
         [](TQ4_HANDLE h) {
             uint32_t count = 0;
             return Get_Pending_Buffer(h, &count);
         }},
        {"Get_Transfer_Parameters", false,
         [](TQ4_HANDLE h) {
             uint8_t record[16];
             return Get_Transfer_Parameters(h, record, sizeof record);
         }},
        {"Set_Transfer_Parameters", false,
         [](TQ4_HANDLE h) {
             uint8_t record[16] = {};
             return Set_Transfer_Parameters(h, record, sizeof record);
         }},
        {"Set_Image_Parameters", true,
         [](TQ4_HANDLE h) {
             const uint32_t params[4] = {1296, 1032, 0, 0};
             return Set_Image_Parameters(h, params, sizeof params);
         }},
        {"Get_Image_Transfer_Mode", true,
         [](TQ4_HANDLE h) {
             uint8_t record[48];
             return Get_Image_Transfer_Mode(h, record, sizeof record);
         }},
    };
}

}  // namespace tq4::test
