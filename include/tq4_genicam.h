/*
 * tq4_genicam: camera driver for short-wave-infrared GenICam cameras.
 *
 * The camera SDK loads libtq4_genicam.so (tq4_genicam.dll on Windows) and drives every camera
 * through the flat set of functions below. Every function returns a 32-bit error code
 * (TQ4_NOERROR = 0) and never lets an exception escape. Cameras are identified by the opaque
 * handle that Open_Cam/Open_Cam_Ext write into the caller's variable.
 *
 * Usable from C and C++. On Linux the functions are exported under their names; the Windows
 * build exports them under the ordinals noted beside each declaration.
 *
 * Images (Set_Image_Buffer, Get_Image_Queued, Cancel_Images, Get_Pending_Buffer): see the
 * section "images" below.
 */
#ifndef TQ4_GENICAM_H
#define TQ4_GENICAM_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(_WIN32)
#define TQ4_API __declspec(dllexport)
#else
#define TQ4_API __attribute__((visibility("default")))
#endif

typedef void* TQ4_HANDLE;

/* ---- open structure --------------------------------------------------------------------- */
/* Only the second field is read: a producer list ("A.cti:B.cti") that replaces the ini file's
 * CONFIG/ProducerName for this open. A null structure or a null list selects the ini file's. */
typedef struct TQ4_OpenStruct {
    uint64_t reserved0;
    const char* producerList;
    uint64_t reserved[6];
} TQ4_OpenStruct;

/* ---- error codes returned by the exports ------------------------------------------------- */
#define ZEVO_NOERROR                     0x00000000u
#define ZEVO_ERROR_DRIVER_WRONGVALUE     0xA0360001u
#define ZEVO_ERROR_DRIVER_NULLHANDLE     0xA0360002u
#define ZEVO_ERROR_DRIVER_WRONGSIZE      0xA0360006u
#define ZEVO_ERROR_DRIVER_NOBUFFER       0xA0002001u
#define ZEVO_ERROR_DRIVER_NODRIVER       0x80362006u
#define ZEVO_ERROR_DRIVER_NOACCESS       0x80362009u
#define ZEVO_ERROR_DRIVER_CREATEEVENT    0x80362020u
#define ZEVO_ERROR_DRIVER_STREAMING      0x80362032u
#define ZEVO_ERROR_OPEN_NULLHANDLEPTR    0xA0320002u
#define ZEVO_ERROR_OPEN_WRONGNUM         0xA0322001u
#define ZEVO_ERROR_OPEN_NOGENICAM        0x80322006u
#define ZEVO_ERROR_OPEN_INUSE            0x80322001u
#define ZEVO_ERROR_OPEN_FAILED           0x80362001u

/* ---- error codes of the telegram layer ---------------------------------------------------- */
#define ZEVO_ERROR_TELEGRAM_NOTSUPPORTED 0x80031020u
#define ZEVO_ERROR_TELEGRAM_OUTOFRANGE   0x8003101Eu
#define ZEVO_ERROR_TELEGRAM_VALUEFAILED  0x8000101Eu
#define ZEVO_ERROR_TELEGRAM_NOTARMED     0x80001021u
#define ZEVO_ERROR_TELEGRAM_RECORDINGON  0x80001022u
#define ZEVO_ERROR_TELEGRAM_INVALIDFORMAT 0xA0000001u

/* ---- status words written into caller buffers --------------------------------------------- */
#define ZEVO_BUFFER_QUEUED               0x80362033u
#define ZEVO_BUFFER_DONE                 0x00000000u
#define ZEVO_BUFFER_FAILED               0x80362018u
#define ZEVO_BUFFER_CANCELLED            0x80362010u

/* ---- telegram command codes --------------------------------------------------------------- */
/* Telegram: u16 code, u16 size (whole telegram), payload, u8 checksum (sum of the preceding
 * bytes modulo 256), little-endian, packed. Response code = code | 0x0080; failure response
 * = code | 0x00C0 with a u32 error code at offset 4 (9 bytes). */
#define TQ4_RESPONSE_FLAG                0x0080u
#define TQ4_FAILURE_FLAG                 0x00C0u

#define GET_CAMERA_TYPE                   0x0110u
#define GET_CAMERA_HEALTH_STATUS          0x0210u
#define GET_TEMPERATURE                   0x0610u
#define GET_HARDWARE_VERSIONS             0x0710u
#define GET_FIRMWARE_VERSIONS             0x0810u
#define GET_CAMERA_NAME                   0x0910u
#define GET_INFO_STRING                   0x0A10u
#define GET_CAMERA_SETUP                  0x1110u
#define SET_CAMERA_SETUP                  0x1210u
#define GET_CAMERA_DESCRIPTION            0x0111u
#define GET_ROI                           0x0211u
#define SET_ROI                           0x0311u
#define GET_BINNING                       0x0411u
#define SET_BINNING                       0x0511u
#define GET_PIXELRATE                     0x0611u
#define GET_COOLING_SETPOINT_TEMPERATURE  0x1011u
#define SET_COOLING_SETPOINT_TEMPERATURE  0x1111u
#define GET_SENSOR_FORMAT                 0x1411u
#define SET_SENSOR_FORMAT                 0x1511u
#define UNSUPPORTED_0x2511                0x2511u
#define GET_HW_IO_SIGNAL_DESCRIPTION      0x2611u
#define GET_DELAY_EXPOSURE_TIME           0x0112u
#define SET_DELAY_EXPOSURE_TIME           0x0212u
#define GET_TRIGGER_MODE                  0x0312u
#define SET_TRIGGER_MODE                  0x0412u
#define FORCE_TRIGGER                     0x0512u
#define GET_CAMERA_BUSY_STATUS            0x0612u
#define GET_EXP_TRIG_SIGNAL_STATUS        0x0912u
#define GET_TIMEBASE                      0x0C12u
#define SET_TIMEBASE                      0x0D12u
#define GET_COC_RUNTIME                   0x1012u
#define GET_FRAMERATE                     0x1712u
#define GET_HW_IO_SIGNAL                  0x1912u
#define SET_HW_IO_SIGNAL                  0x1A12u
#define GET_RECORDING_STATE               0x0514u
#define SET_RECORDING_STATE               0x0614u
#define GET_ACQUIRE_MODE                  0x0714u
#define SET_ACQUIRE_MODE                  0x0814u
#define ARM_CAMERA                        0x0A14u
#define SET_DATE_TIME                     0x0B14u
#define GET_TIMESTAMP_MODE                0x0C14u
#define SET_TIMESTAMP_MODE                0x0D14u
#define GET_ACQUIRE_MODE_EX               0x1614u
#define SET_ACQUIRE_MODE_EX               0x1714u
#define GET_BIT_ALIGNMENT                 0x0915u
#define SET_BIT_ALIGNMENT                 0x0A15u
#define GET_METADATA_MODE                 0x0E15u
#define SET_METADATA_MODE                 0x0F15u
#define SWIR_GENERATE_CORRECTION_DATA     0x301Fu

/* ---- response layouts chosen by this driver ------------------------------------------------ */
/* Offsets are telegram offsets; texts are NUL-terminated and zero-filled to their field.
 *
 * GET_INFO_STRING (45 bytes): offset 4, char[40] text (at most 39 characters).
 *   type 1 camera name, 2 "Sony IMX990", 3 MaterialNumber, 4 "1,9,0,0"; any other type answers
 *   with an empty text and returns ZEVO_ERROR_TELEGRAM_VALUEFAILED.
 *
 * GET_HARDWARE_VERSIONS (7 + 22 * count bytes, one board: 29 bytes):
 *   offset 4  u16 board count (1)
 *   offset 6  per board: char[16] board name (DeviceModelName, else InfoName),
 *             u16 batch number (0), u16 revision (DeviceVersion, else InfoHardwareRev, as a
 *             number: its leading decimal digits, a single letter its character code), u16
 *             variant (0)
 *
 * GET_FIRMWARE_VERSIONS (207 bytes):
 *   offset 4  char[40] product text "Orvanta ZEVO GmbH zevo.quillon 1.3 SWIR"
 *   offset 44 u16 entry count (4)
 *   offset 46 4 entries of 40 bytes: char[16] name, char[20] version text, u16 major, u16 variant
 *             names "Bootloader", "Application", "FPGA", "Unknown"; version text "??" and
 *             numbers 0 unless known. The camera reports one firmware version
 *             (DeviceFirmwareVersion), which fills "Application": the text as reported, major =
 *             its leading number, variant = the number after its first '.'.
 */

/* ---- images ---------------------------------------------------------------------------------
 * Getting ready: ARM_CAMERA (announces acquisition buffers for the image the camera delivers
 * now: arm again after changing the region, binning or pixel format), then SET_RECORDING_STATE
 * 1. Set_Image_Parameters also announces buffers, for the camera's current Width x Height; it
 * is refused while images stream.
 *
 * Set_Image_Buffer queues one caller buffer: its status word becomes ZEVO_BUFFER_QUEUED and its
 * event is reset. The first buffer starts streaming. Buffers are filled in the order they were
 * queued, one image each; the driver writes the status word and then sets the event:
 *   ZEVO_BUFFER_DONE       the image was copied (a buffer smaller than the image gets its
 *                          first `size` bytes, a larger one zeros after the image)
 *   ZEVO_BUFFER_FAILED     the wait for the image failed (the buffer is zeroed), or the image
 *                          came without data (then streaming ends: Cancel_Images before
 *                          queueing again)
 *   ZEVO_BUFFER_CANCELLED  Cancel_Images, Close_Cam or the end of streaming
 * A buffer queued while streaming cannot run (camera not armed, recording off) is not queued:
 * the call returns 0, logs "Device::setImageBuffer: DataStream is not running." and the status
 * stays ZEVO_BUFFER_QUEUED with the event unset. The memory, the status word and the event of
 * a queued buffer must stay valid until its event is set (or Cancel_Images or Close_Cam has
 * returned). `start` must be 0 or equal to `end` (live images only). 0x360000 is returned when
 * the producer refused one more acquisition buffer; the caller's buffer is queued anyway.
 * Get_Pending_Buffer counts the buffers still waiting. Get_Image_Queued queues one buffer with
 * an event of its own, switches recording on for the call when it is off, waits up to
 * `timeout_ms` (0: the image time-out of Set_Timeouts), stops streaming and returns 0 (also
 * on a time-out: check the buffer) or the buffer's failure status.
 *
 * Copy rules: pixels of 9 to 15 bits in two bytes are shifted to the top of the 16 bits when
 * the bit alignment (SET_BIT_ALIGNMENT) is 0 (MSB), and copied as delivered when it is 1 (LSB,
 * the default) or the pixel format's name ends in "msb"; pixels of fewer than 8 bits in one
 * byte likewise. SET_TIMESTAMP_MODE on a camera without a time stamp of its own makes the
 * driver stamp the images (mode 1 binary, 2 both, 3 readable):
 *   binary   the first 14 pixels of row 0 each hold one BCD byte: pixels 0-3 the image
 *            counter (8 digits), 4-10 the local time as "%Y%m%d%H%M%S" (7 digit pairs), 11-13
 *            the microseconds (6 digits). A 1-byte pixel is the byte; a 2-byte pixel holds it
 *            in the top 8 of its data bits (<< 8 for MSB-aligned or 16-bit data, << 4 for
 *            12-bit data in the low bits).
 *   readable on images of at least 288 x 80 pixels, text in 8 x 16 pixel cells drawn from
 *            row 1 and column 17 on, white (the data bits' maximum) on black, e.g.
 *            "0000042  3 Nov2026 14:05:09.123456" (counter, day, month, year, time, µs).
 *
 * Events on Linux: an event HANDLE carries an eventfd descriptor, (TQ4_HANDLE)(intptr_t)fd. The
 * driver sets it by writing 1 and resets it by reading without ever waiting, also when the
 * eventfd is blocking. Set_Image_Buffer refuses (ZEVO_ERROR_DRIVER_WRONGVALUE, "Wrong Handle
 * for hEvent") a handle that is not an open eventfd of the process, descriptor 0 included.
 * Waiting with poll (epoll and select work alike: the eventfd is readable while set):
 *
 *     int fd = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
 *     uint32_t status;
 *     Set_Image_Buffer(cam, (TQ4_HANDLE)(intptr_t)fd, 0, 0, 0, 0, image, size, &status);
 *     struct pollfd p = { fd, POLLIN, 0 };
 *     if (poll(&p, 1, 5000) == 1) {
 *         uint64_t count;
 *         read(fd, &count, sizeof count);           // reset, ready to be queued again
 *         if (status == ZEVO_BUFFER_DONE) use(image);
 *     }
 *     close(fd);                                    // only once the buffer is no longer queued
 */

/* ---- telegrams for images ------------------------------------------------------------------
 * ARM_CAMERA (5 bytes, no payload): refused with ZEVO_ERROR_TELEGRAM_RECORDINGON while
 *   recording is 1 (normal response).
 * GET_RECORDING_STATE / SET_RECORDING_STATE (7 bytes): offset 4 u16 state (0 off, 1 on); SET
 *   1 before ARM_CAMERA answers 0 and returns ZEVO_ERROR_TELEGRAM_NOTARMED; SET 0 stops the
 *   camera's acquisition. GET returns ZEVO_ERROR_TELEGRAM_NOTARMED for state 1 while not armed.
 * GET_BIT_ALIGNMENT / SET_BIT_ALIGNMENT (7 bytes): offset 4 u16 alignment, 0 MSB or 1 LSB; SET
 *   refuses other values with ZEVO_ERROR_DRIVER_WRONGVALUE and answers the alignment kept. The
 *   camera's PixelFormat is not changed.
 */

/* ---- exports (Windows ordinal in brackets) ------------------------------------------------- */
/* [1]  */ TQ4_API uint32_t Open_Cam(uint32_t num, TQ4_HANDLE* ph);
/* [2]  */ TQ4_API uint32_t Close_Cam(TQ4_HANDLE* ph);
/* [3]  */ TQ4_API uint32_t Check_Device_Availability(uint32_t num);
/* [4]  */ TQ4_API uint32_t Open_Cam_Ext(uint32_t num, TQ4_HANDLE* ph, TQ4_OpenStruct* open);
/* [5]  */ TQ4_API uint32_t Control_Command(TQ4_HANDLE h, const void* telegram, int32_t size_in,
                                            void* response, uint32_t size_out);
/* [6]  */ TQ4_API uint32_t Set_Timeouts(TQ4_HANDLE h, const uint32_t* timeouts, uint32_t length);
/* [8]  */ TQ4_API uint32_t Get_Generation_Count(TQ4_HANDLE h, uint32_t* count);
/* [10] */ TQ4_API uint32_t Get_Image_Queued(TQ4_HANDLE h, uint32_t timeout_ms, uint32_t unused1,
                                             uint32_t unused2, uint32_t unused3, uint32_t unused4,
                                             void* buffer, uint32_t size);
/* [11] */ TQ4_API uint32_t Set_Image_Buffer(TQ4_HANDLE h, TQ4_HANDLE event, uint32_t unused1,
                                             uint32_t start, uint32_t end, uint32_t unused2,
                                             void* buffer, uint32_t size, uint32_t* status);
/* [12] */ TQ4_API uint32_t Cancel_Images(TQ4_HANDLE h);
/* [13] */ TQ4_API uint32_t Get_Pending_Buffer(TQ4_HANDLE h, uint32_t* count);
/* [15] */ TQ4_API uint32_t Get_Transfer_Parameters(TQ4_HANDLE h, void* buffer, int32_t length);
/* [16] */ TQ4_API uint32_t Set_Transfer_Parameters(TQ4_HANDLE h, void* buffer, int32_t length);
/* [17] */ TQ4_API uint32_t Set_Image_Parameters(TQ4_HANDLE h, const uint32_t* params, int32_t length);
/* [18] */ TQ4_API uint32_t Set_Image_Transfer_Mode(TQ4_HANDLE h, void* record, int32_t length);
/* [19] */ TQ4_API uint32_t Get_Image_Transfer_Mode(TQ4_HANDLE h, void* record, int32_t length);
/* [45] */ TQ4_API uint32_t Get_Camera_Error(TQ4_HANDLE h, void* record, int32_t length);
/* [46] */ TQ4_API uint32_t ZEVO_GetVersionTQ4_Genicam(uint32_t* v1, uint32_t* v2, uint32_t* v3, uint32_t* v4);
/* [47] */ TQ4_API uint32_t ZEVO_GetVersion_genicam(uint32_t* v1, uint32_t* v2, uint32_t* v3, uint32_t* v4);

#ifdef __cplusplus
}
#endif

#endif /* TQ4_GENICAM_H */
