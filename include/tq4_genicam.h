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
 *
 * At open the camera is prepared: pixel format from the ini file's [FEATURE] PixelFormat (an
 * entry name; "None" keeps the camera's; missing or unknown: the widest the camera offers, an
 * entry ending in "msb" never chosen as widest), fan in automatic target mode, automatic
 * exposure and white balance off, Line2/Line3 on FrameTriggerOut/ExposureActive, automatic
 * cooling (its set point is the one GET_CAMERA_DESCRIPTION reports), correction references
 * loaded from <data folder>/genicam/correction_data/<serial>_b<bits> and _w<bits>. When
 * references are missing the user is asked whether to run the download tool
 * zevo.quillonSWIR.exe (unless [CONFIG] SuppressWarnOnMissingCorrection is nonzero); on Yes the
 * camera is closed for the tool and Open_Cam returns ZEVO_ERROR_OPEN_FAILED: open it again when
 * the tool is done. Linux asks through a desktop dialog (zenity) when there is a desktop, else
 * takes No and logs the question; TQ4_QUESTION_ANSWER=yes|no answers without asking.
 */
#ifndef TQ4_GENICAM_H
#define TQ4_GENICAM_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(_WIN32)
/* The DLL's module-definition file exports the functions, by ordinal and name. */
#define TQ4_API
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
#define ZEVO_NOERROR                  0x00000000u
#define ZEVO_ERROR_DRIVER_WRONGVALUE  0xA0360001u
#define ZEVO_ERROR_DRIVER_NULLHANDLE  0xA0360002u
#define ZEVO_ERROR_DRIVER_WRONGSIZE   0xA0360006u
#define ZEVO_ERROR_DRIVER_NOBUFFER    0xA0002001u
#define ZEVO_ERROR_DRIVER_NODRIVER    0x80362006u
#define ZEVO_ERROR_DRIVER_NOACCESS    0x80362009u
#define ZEVO_ERROR_DRIVER_CREATEEVENT 0x80362020u
#define ZEVO_ERROR_DRIVER_STREAMING   0x80362032u
#define ZEVO_ERROR_OPEN_NULLHANDLEPTR 0xA0320002u
#define ZEVO_ERROR_OPEN_WRONGNUM      0xA0322001u
#define ZEVO_ERROR_OPEN_NOGENICAM     0x80322006u
#define ZEVO_ERROR_OPEN_INUSE         0x80322001u
#define ZEVO_ERROR_OPEN_FAILED        0x80362001u

/* ---- error codes of the telegram layer ---------------------------------------------------- */
#define ZEVO_ERROR_TELEGRAM_NOTSUPPORTED  0x80031020u
#define ZEVO_ERROR_TELEGRAM_OUTOFRANGE    0x8003101Eu
#define ZEVO_ERROR_TELEGRAM_VALUEFAILED   0x8000101Eu
#define ZEVO_ERROR_TELEGRAM_NOTARMED      0x80001021u
#define ZEVO_ERROR_TELEGRAM_RECORDINGON   0x80001022u
#define ZEVO_ERROR_TELEGRAM_INVALIDFORMAT 0xA0000001u

/* ---- error codes of the feature functions ------------------------------------------------- */
#define ZEVO_ERROR_FEATURE_NOTFOUND 0x80362041u /* the camera has no feature of that name */
#define ZEVO_ERROR_FEATURE_ACCESS   0x80362042u /* not readable (Get) or not writable (Set) now */
#define ZEVO_ERROR_FEATURE_VALUE    0x80362043u /* the feature does not take the value */

/* ---- status words written into caller buffers --------------------------------------------- */
#define ZEVO_BUFFER_QUEUED    0x80362033u
#define ZEVO_BUFFER_DONE      0x00000000u
#define ZEVO_BUFFER_FAILED    0x80362018u
#define ZEVO_BUFFER_CANCELLED 0x80362010u

/* ---- telegram command codes --------------------------------------------------------------- */
/* Telegram: u16 code, u16 size (whole telegram), payload, u8 checksum (sum of the preceding
 * bytes modulo 256), little-endian, packed. Response code = code | 0x0080; failure response
 * = code | 0x00C0 with a u32 error code at offset 4 (9 bytes). */
#define TQ4_RESPONSE_FLAG 0x0080u
#define TQ4_FAILURE_FLAG  0x00C0u

#define GET_CAMERA_TYPE                  0x0110u
#define GET_CAMERA_HEALTH_STATUS         0x0210u
#define GET_TEMPERATURE                  0x0610u
#define GET_HARDWARE_VERSIONS            0x0710u
#define GET_FIRMWARE_VERSIONS            0x0810u
#define GET_CAMERA_NAME                  0x0910u
#define GET_INFO_STRING                  0x0A10u
#define GET_CAMERA_SETUP                 0x1110u
#define SET_CAMERA_SETUP                 0x1210u
#define GET_CAMERA_DESCRIPTION           0x0111u
#define GET_ROI                          0x0211u
#define SET_ROI                          0x0311u
#define GET_BINNING                      0x0411u
#define SET_BINNING                      0x0511u
#define GET_PIXELRATE                    0x0611u
#define GET_COOLING_SETPOINT_TEMPERATURE 0x1011u
#define SET_COOLING_SETPOINT_TEMPERATURE 0x1111u
#define GET_SENSOR_FORMAT                0x1411u
#define SET_SENSOR_FORMAT                0x1511u
#define UNSUPPORTED_0x2511               0x2511u
#define GET_HW_IO_SIGNAL_DESCRIPTION     0x2611u
#define GET_DELAY_EXPOSURE_TIME          0x0112u
#define SET_DELAY_EXPOSURE_TIME          0x0212u
#define GET_TRIGGER_MODE                 0x0312u
#define SET_TRIGGER_MODE                 0x0412u
#define FORCE_TRIGGER                    0x0512u
#define GET_CAMERA_BUSY_STATUS           0x0612u
#define GET_EXP_TRIG_SIGNAL_STATUS       0x0912u
#define GET_TIMEBASE                     0x0C12u
#define SET_TIMEBASE                     0x0D12u
#define GET_COC_RUNTIME                  0x1012u
#define GET_FRAMERATE                    0x1712u
#define GET_HW_IO_SIGNAL                 0x1912u
#define SET_HW_IO_SIGNAL                 0x1A12u
#define GET_RECORDING_STATE              0x0514u
#define SET_RECORDING_STATE              0x0614u
#define GET_ACQUIRE_MODE                 0x0714u
#define SET_ACQUIRE_MODE                 0x0814u
#define ARM_CAMERA                       0x0A14u
#define SET_DATE_TIME                    0x0B14u
#define GET_TIMESTAMP_MODE               0x0C14u
#define SET_TIMESTAMP_MODE               0x0D14u
#define GET_ACQUIRE_MODE_EX              0x1614u
#define SET_ACQUIRE_MODE_EX              0x1714u
#define GET_BIT_ALIGNMENT                0x0915u
#define SET_BIT_ALIGNMENT                0x0A15u
#define GET_METADATA_MODE                0x0E15u
#define SET_METADATA_MODE                0x0F15u
#define SWIR_GENERATE_CORRECTION_DATA    0x301Fu

/* ---- response layouts chosen by this driver ------------------------------------------------ */
/* Offsets are telegram offsets; texts are NUL-terminated and zero-filled to their field.
 *
 * GET_INFO_STRING (45 bytes): offset 4, char[40] text (at most 39 characters).
 *   type 1 camera name, 2 "Sony IMX990" (for every camera), 3 MaterialNumber ("not available"
 *   when the camera has none), 4 "1,9,0,0"; any other type answers with an empty text and
 *   returns ZEVO_ERROR_TELEGRAM_VALUEFAILED.
 *
 * GET_HARDWARE_VERSIONS (7 + 22 * count bytes, one board: 29 bytes):
 *   offset 4  u16 board count (1)
 *   offset 6  per board: char[16] board name (DeviceModelName, else InfoName, else
 *             "not available"),
 *             u16 batch number (0), u16 revision (DeviceVersion, else InfoHardwareRev, as a
 *             number: its leading decimal digits, a single letter its character code), u16
 *             variant (0)
 *
 * GET_FIRMWARE_VERSIONS (207 bytes):
 *   offset 4  char[40] product line: "Orvanta ZEVO GmbH zevo.quillon 1.3 SWIR" for the maker's
 *             cameras (DeviceVendorName "Orvanta ZEVO GmbH"), else the camera's DeviceVendorName
 *             and DeviceModelName, or "not available" when it gives neither
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
 *                          first `size` bytes, a larger one zeros after the image); also an
 *                          image the producer delivered incomplete (lost packets), unless
 *                          [CONFIG] FailIncompleteImages is nonzero in tq4_genicam_param.ini
 *   ZEVO_BUFFER_FAILED     the wait for the image failed (the buffer is zeroed), or the image
 *                          came without data (then streaming ends: Cancel_Images before
 *                          queueing again), or it came incomplete while FailIncompleteImages
 *                          is set (the buffer holds what arrived; the key is read whenever
 *                          streaming starts)
 *   ZEVO_BUFFER_CANCELLED  Cancel_Images, Close_Cam or the end of streaming
 * A buffer queued while streaming cannot run (camera not armed, recording off) is not queued:
 * the call returns 0, logs "Device::setImageBuffer: DataStream is not running." and the status
 * stays ZEVO_BUFFER_QUEUED with the event unset. The memory, the status word and the event of
 * a queued buffer must stay valid until its event is set (or Cancel_Images or Close_Cam has
 * returned). `start` must be 0 or equal to `end` (live images only). 0x360000 is returned when
 * the producer refused one more acquisition buffer; the caller's buffer is queued anyway.
 * Get_Pending_Buffer counts the buffers still waiting. Get_Image_Queued queues one buffer with
 * an event of its own (created for the call and closed before it returns, on Linux and on
 * Windows), switches recording on for the call when it is off, waits up to
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
 *            "0000042 3_ Nov2026 14:05:09.123456" (counter, day, month, year, time, µs); the
 *            day is "%d" in two cells, so a one-digit day leaves the second cell (here _) as
 *            the image has it.
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

/* ---- telegram layouts ------------------------------------------------------------------------
 * Offsets are telegram offsets; u16/u32/s16 little-endian; "in" is the shortest request the
 * driver takes (a shorter one is refused with ZEVO_ERROR_DRIVER_WRONGVALUE and no answer;
 * "-": the request carries no field); "out" the answer's length. Values the driver reads from
 * the camera are what the camera holds after the command.
 *
 * code    command                      in  out  payload
 * 0x0110  GET_CAMERA_TYPE               -   23  4 u32 type 0x00011A00, 8 u32 serial number,
 *                                                12 u32 hardware version, 16 u32 firmware
 *                                                version (leading number), 20 u16 interface 6
 * 0x0210  GET_CAMERA_HEALTH_STATUS      -   17  4 u32 warnings (8: cooling set point not
 *                                                reached), 8 u32 errors (0), 12 u32 status (1;
 *                                                3 recording on an armed camera; +4 streaming)
 * 0x0610  GET_TEMPERATURE               -   11  4 s16 sensor (0.1 degC), 6 s16 board (degC),
 *                                                8 s16 power unit (degC)
 * 0x0710  GET_HARDWARE_VERSIONS         -   29  see above
 * 0x0810  GET_FIRMWARE_VERSIONS         -  207  see above
 * 0x0910  GET_CAMERA_NAME               -   45  4 char[40] name
 * 0x0A10  GET_INFO_STRING               9   45  request 4 u32 type; see above
 * 0x1110  GET_CAMERA_SETUP             23   23  4 u16 type (0 shutter: flags[0] = 2; 1 pixel
 *                                                format: flags[0] = one bit, 0x01 Mono16, 0x02
 *                                                Mono14, 0x04 Mono12, 0x08 Mono10, 0x10 Mono8,
 *                                                0x20 Mono14p, 0x40 Mono12p, 0x80 Mono10p),
 *                                                6 u32 flags[4]
 * 0x1210  SET_CAMERA_SETUP             23   23  as GET; shutter flags other than 2, a flag
 *                                                outside the table or a format the camera lacks
 *                                                return ZEVO_ERROR_DRIVER_WRONGVALUE with a
 *                                                normal answer holding the camera's set-up
 * 0x0111  GET_CAMERA_DESCRIPTION        -  153  sensor, binning, region steps, exposure and
 *                                                cooling limits, bits per pixel
 * 0x0211  GET_ROI                       -   13  4 u16 first column, 6 u16 first row, 8 u16 last
 *                                                column, 10 u16 last row (from 1, inclusive)
 * 0x0311  SET_ROI                      13   13  as GET_ROI. Disarms. The corners become offset
 *                                                and size rounded to the camera's steps toward
 *                                                the inside of the requested rectangle, within
 *                                                WidthMax/HeightMax, the sensor and the binning.
 *                                                First after last, outside the image or smaller
 *                                                than the smallest region: the region is left
 *                                                alone, answered, ZEVO_ERROR_TELEGRAM_OUTOFRANGE
 * 0x0411  GET_BINNING                   -    9  4 u16 vertical, 6 u16 horizontal (1 if absent)
 * 0x0511  SET_BINNING                   -    9  request 4 u16 factor for both axes; as GET.
 *                                                Disarms
 * 0x0611  GET_PIXELRATE                 -    9  4 u32 93000000 (Hz)
 * 0x1011  GET_COOLING_SETPOINT_TEMP.    -    7  4 s16 set point (degC)
 * 0x1111  SET_COOLING_SETPOINT_TEMP.    7    7  4 s16 set point (degC)
 * 0x1411  GET_SENSOR_FORMAT             -    7  4 u16 0 (standard)
 * 0x1511  SET_SENSOR_FORMAT             7    7  4 u16 0; other values: answer with the failure
 *                                                flag, ZEVO_ERROR_TELEGRAM_INVALIDFORMAT
 * 0x0112  GET_DELAY_EXPOSURE_TIME       -   13  4 u32 delay, 8 u32 exposure, each in its
 *                                                timebase (GET_TIMEBASE)
 * 0x0212  SET_DELAY_EXPOSURE_TIME      13   13  as GET. Disarms. An exposure outside the
 *                                                camera's limits: nothing changes, the answer
 *                                                holds the camera's values, OUTOFRANGE. Else the
 *                                                exposure is written and the frame period set to
 *                                                delay + max(exposure, shortest period), clamped
 *                                                to the frame rate's limits (delay 0: free run);
 *                                                the answer equals the GET that follows
 * 0x0312  GET_TRIGGER_MODE              -    7  4 u16 0 free run, 1 software, 2 external
 *                                                (Line0), 3 exposure by trigger width
 * 0x0412  SET_TRIGGER_MODE              7    7  as GET. Disarms. Mode 3 sets ExposureMode only
 *                                                and reads back as 0 unless an ExposureActive
 *                                                trigger is on. Other modes: WRONGVALUE, no answer
 * 0x0512  FORCE_TRIGGER                 -    7  4 u16 1 when a software trigger was sent
 * 0x0612  GET_CAMERA_BUSY_STATUS        -    7  4 u16 0
 * 0x0912  GET_EXP_TRIG_SIGNAL_STATUS    -    7  4 u16 0
 * 0x0C12  GET_TIMEBASE                  -    9  4 u16 delay, 6 u16 exposure timebase: 0 ns, 1
 *                                                us (both at open), 2 ms
 * 0x0D12  SET_TIMEBASE                  9    9  as GET; kept as given, other codes scale by 1
 * 0x1012  GET_COC_RUNTIME               -   13  4 u32 seconds, 8 u32 nanoseconds of the frame
 *                                                period (the set rate, or free run: the longer
 *                                                of the shortest period and the exposure)
 * 0x1712  GET_FRAMERATE                 -   15  4 u16 status (0), 6 u32 frame rate (mHz), 10 u32
 *                                                exposure (ns)
 * 0x0514  GET_RECORDING_STATE           -    7  4 u16 state (0 off, 1 on); NOTARMED for 1 while
 *                                                the camera is not armed
 * 0x0614  SET_RECORDING_STATE           7    7  4 u16 state; 1 before ARM_CAMERA answers 0 and
 *                                                returns NOTARMED; 0 stops the camera
 * 0x0714  GET_ACQUIRE_MODE              -    7  4 u16 0 auto, 1 external (AcquisitionActive
 *                                                trigger), 4 bursts (FrameBurstStart); without a
 *                                                writable TriggerSelector: NOTSUPPORTED, no answer
 * 0x0814  SET_ACQUIRE_MODE              7    7  4 u16 0 or 1. Disarms. Others: WRONGVALUE, no
 *                                                answer
 * 0x0A14  ARM_CAMERA                    -    5  locks the transport parameters and announces
 *                                                buffers for the current image; RECORDINGON
 *                                                while recording
 * 0x0B14  SET_DATE_TIME                13   13  echoes the request's first 12 bytes
 * 0x0C14  GET_TIMESTAMP_MODE            -    7  4 u16 0 none, 1 binary, 2 both, 3 readable
 * 0x0D14  SET_TIMESTAMP_MODE            -    7  request 4 u16 mode; answer 4 u16 0
 * 0x1614  GET_ACQUIRE_MODE_EX           -   27  4 u16 mode, 6 u32 images per burst (mode 4)
 * 0x1714  SET_ACQUIRE_MODE_EX          27   27  as GET, modes 0, 1, 4. Disarms. The number of
 *                                                images is brought within the camera's limits
 * 0x0915  GET_BIT_ALIGNMENT             -    7  4 u16 0 MSB, 1 LSB (the default)
 * 0x0A15  SET_BIT_ALIGNMENT             7    7  4 u16 0 or 1; others WRONGVALUE, answered with
 *                                                the alignment kept; PixelFormat is not changed
 * 0x0E15  GET_METADATA_MODE             -   15  all zero
 * 0x0F15  SET_METADATA_MODE             -   15  all zero
 * 0x301F  SWIR_GENERATE_CORRECTION_DATA 7    8  request 4 u16 reference: 1 white, others black.
 *                                                The reference file (see open, above) is
 *                                                deleted, taken anew by the camera from what it
 *                                                sees and saved. Answer: header only; when the
 *                                                file was not saved, the failure flag and
 *                                                ZEVO_ERROR_DRIVER_CREATEEVENT
 * Answered as unsupported (9-byte failure answer, ZEVO_ERROR_TELEGRAM_NOTSUPPORTED): 0x2511,
 * GET_HW_IO_SIGNAL_DESCRIPTION 0x2611 (in 7; signal numbers above 3: OUTOFRANGE),
 * GET_HW_IO_SIGNAL 0x1912 (in 7), SET_HW_IO_SIGNAL 0x1A12 (in 17), and every code not listed.
 *
 * Lengths of the exports' arguments: size_in, size_out, Get/Set_Transfer_Parameters,
 * Set_Image_Parameters, Get_Image_Transfer_Mode and Set_Timeouts lengths are bytes; the `size`
 * of Get_Image_Queued and Set_Image_Buffer is the caller buffer's size in bytes; time-outs are
 * milliseconds.
 */

/* ---- exports (Windows ordinal in brackets) ------------------------------------------------- */
/* [1]  */ TQ4_API uint32_t Open_Cam(uint32_t num, TQ4_HANDLE* ph);
/* [2]  */ TQ4_API uint32_t Close_Cam(TQ4_HANDLE* ph);
/* [3]  */ TQ4_API uint32_t Check_Device_Availability(uint32_t num);
/* [4]  */ TQ4_API uint32_t Open_Cam_Ext(uint32_t num, TQ4_HANDLE* ph, TQ4_OpenStruct* open);
/* [5]  */ TQ4_API uint32_t Control_Command(TQ4_HANDLE h, const void* telegram, int32_t size_in, void* response,
                                            uint32_t size_out);
/* [6]  */ TQ4_API uint32_t Set_Timeouts(TQ4_HANDLE h, const uint32_t* timeouts, uint32_t length);
/* [8]  */ TQ4_API uint32_t Get_Generation_Count(TQ4_HANDLE h, uint32_t* count);
/* [10] */ TQ4_API uint32_t Get_Image_Queued(TQ4_HANDLE h, uint32_t timeout_ms, uint32_t unused1, uint32_t unused2,
                                             uint32_t unused3, uint32_t unused4, void* buffer, uint32_t size);
/* [11] */ TQ4_API uint32_t Set_Image_Buffer(TQ4_HANDLE h, TQ4_HANDLE event, uint32_t unused1, uint32_t start,
                                             uint32_t end, uint32_t unused2, void* buffer, uint32_t size,
                                             uint32_t* status);
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

/* ---- features by name ---------------------------------------------------------------------- */
/* For tools and scripts beside the telegrams (the camera SDK calls neither): any feature of the
 * camera's description by its name, as text, the way `tq4cam get` and `set` show and take it.
 * A standard feature is also found under an older name the camera gives it (ExposureTimeAbs for
 * ExposureTime). Each call holds the camera's node map for its run; the telegrams and the
 * acquisition may run meanwhile on other threads.
 *
 * Get_Feature: `*size` is the capacity of `value` in bytes; the call writes the bytes the text
 * needs with its terminating zero into `*size` and, when `value` is not null and the text fits,
 * the text into `value` (integers in decimal, or hex/IP/MAC form as the description represents
 * them; floats as %g-like decimals; booleans 0/1; enumerations the current entry's name; strings
 * as they are; commands and categories an empty text). `kind` (may be null) receives one of the
 * ZEVO_FEATURE_ kinds below. Results: ZEVO_NOERROR; ZEVO_ERROR_DRIVER_WRONGVALUE (null name or
 * size); ZEVO_ERROR_FEATURE_NOTFOUND; ZEVO_ERROR_FEATURE_ACCESS (not readable now: kind is still
 * written); ZEVO_ERROR_DRIVER_WRONGSIZE (the text does not fit: nothing written to `value`, the
 * needed size in `*size`).
 *
 * Set_Feature: `value` converted by the feature's kind (integers also as 0x..; floats in double
 * precision; booleans 0, 1, true or false; enumerations an entry's name available now); a
 * command is executed whatever the text. The feature is read back where it is readable and must
 * hold the value. Results: ZEVO_NOERROR; ZEVO_ERROR_DRIVER_WRONGVALUE (null name or value);
 * ZEVO_ERROR_FEATURE_NOTFOUND; ZEVO_ERROR_FEATURE_ACCESS (not writable now);
 * ZEVO_ERROR_FEATURE_VALUE (the text does not convert, or the camera refused or changed it). */
#define ZEVO_FEATURE_INTEGER     2u
#define ZEVO_FEATURE_BOOLEAN     3u
#define ZEVO_FEATURE_COMMAND     4u
#define ZEVO_FEATURE_FLOAT       5u
#define ZEVO_FEATURE_STRING      6u
#define ZEVO_FEATURE_REGISTER    7u
#define ZEVO_FEATURE_CATEGORY    8u
#define ZEVO_FEATURE_ENUMERATION 9u
/* [48] */ TQ4_API uint32_t Get_Feature(TQ4_HANDLE h, const char* name, char* value, uint32_t* size, uint32_t* kind);
/* [49] */ TQ4_API uint32_t Set_Feature(TQ4_HANDLE h, const char* name, const char* value);

#ifdef __cplusplus
}
#endif

#endif /* TQ4_GENICAM_H */
