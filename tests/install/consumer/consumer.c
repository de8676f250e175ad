/* A user's program of the installed driver: opens camera 0, asks its type with one telegram
 * (GET_CAMERA_TYPE) and closes it. Valid C and C++: install_test.sh builds it as C through
 * pkg-config and as C++ through the CMake package. Exits 0 when every answer is as documented. */
#include <stdint.h>
#include <stdio.h>
#include <tq4_genicam.h>

int main(void) {
    TQ4_HANDLE camera = NULL;
    uint32_t result = Open_Cam(0, &camera);
    if (result != ZEVO_NOERROR || camera == NULL) {
        fprintf(stderr, "Open_Cam: 0x%08X\n", (unsigned)result);
        return 1;
    }
    /* code 0x0110, size 5, no payload, checksum */
    const uint8_t request[5] = {0x10, 0x01, 0x05, 0x00, 0x16};
    uint8_t response[512] = {0};
    result = Control_Command(camera, request, (int32_t)sizeof request, response, (uint32_t)sizeof response);
    const unsigned size = (unsigned)(response[2] | (response[3] << 8));
    printf("Control_Command 0x%08X, response", (unsigned)result);
    for (unsigned i = 0; i < size && i < sizeof response; ++i) printf(" %02X", response[i]);
    printf("\n");
    const uint32_t type = (uint32_t)response[4] | ((uint32_t)response[5] << 8) | ((uint32_t)response[6] << 16) |
                          ((uint32_t)response[7] << 24);
    const int answered = result == ZEVO_NOERROR && size == 23 && type == 0x00011A00u;

    result = Close_Cam(&camera);
    if (result != ZEVO_NOERROR) {
        fprintf(stderr, "Close_Cam: 0x%08X\n", (unsigned)result);
        return 1;
    }
    if (!answered) {
        fprintf(stderr, "GET_CAMERA_TYPE: not the documented answer (23 bytes, type 0x00011A00)\n");
        return 1;
    }
    return 0;
}
