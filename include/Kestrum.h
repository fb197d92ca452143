/*
 * Kestrum: the flat C interface of the 3D scene library libKestrum13-32.
 *
 * Usable from C11 and C++. A host either links the library or resolves the functions by
 * name with dlsym(); the typedefs KestrumFn_<name> give the pointer types for the latter.
 *
 * Conventions at this boundary:
 *  - Text that goes in is NUL-terminated UTF-16 (char16_t); a null pointer is the empty text.
 *  - Text handed to a callback is UTF-8 as pointer plus byte length, valid only while the
 *    callback runs.
 *  - Text returned by a function is a system string (KestrumSystemString): UTF-16 preceded by
 *    a 32-bit byte length and followed by a 16-bit NUL. The caller owns it and releases it
 *    with FreeSystemString(). The empty text is a valid string, not null.
 *  - The first word of every function that takes text is reserved: never read, any bits.
 *  - Queued work reports through its callback, on the library's render thread; a callback
 *    may be null. Callbacks must return soon: they hold up rendering.
 *  - Native windows are X11 window ids.
 */
#ifndef KESTRUM_H
#define KESTRUM_H

#include <stddef.h>
#include <stdint.h>

#ifndef __cplusplus
#include <uchar.h>
#endif

#if defined(__GNUC__)
#define KESTRUM_API __attribute__((visibility("default")))
#else
#define KESTRUM_API
#endif

#ifdef __cplusplus
extern "C" {
namespace Kestrum {
#endif

/* A system string: points at the UTF-16 text of a block that the library allocated. */
typedef char16_t* KestrumSystemString;

/* Native window handle: an X11 window id. */
typedef uintptr_t KestrumWindow;

/* The interactive view object; opaque to the host. */
#ifdef __cplusplus
class RenderProxy3D;
#else
typedef struct RenderProxy3D RenderProxy3D;
#endif

/* ---- flags and enumerations ------------------------------------------------------------ */

/* LoadSceneParameters.flags. Honoured in the order memory, file, handle. */
enum { KESTRUM_LOAD_BY_HANDLE = 1u << 0, KESTRUM_LOAD_FROM_FILE = 1u << 1, KESTRUM_LOAD_FROM_MEMORY = 1u << 2 };

/* LoadSceneParameters.viewStringFlags: entries are dictionary text rather than file paths. */
enum { KESTRUM_VIEW_STRINGS_ARE_TEXT = 1u << 0 };

/* ViewParameters.flags. Bits 0 and 1 are load options handed to the format. */
enum {
    KESTRUM_VIEW_LOAD_OPTION_A = 1u << 0,
    KESTRUM_VIEW_LOAD_OPTION_B = 1u << 1,
    KESTRUM_VIEW_LOAD_EXTERNAL_VIEWS = 1u << 4,
    KESTRUM_VIEW_ACTIVATE = 1u << 5,
    KESTRUM_VIEW_EXPLICIT_CLIPPING = 1u << 6,
    KESTRUM_VIEW_EXPLICIT_MATRIX = 1u << 7,
    KESTRUM_VIEW_ORTHOGRAPHIC = 1u << 8
};

/* CaptureParameters.captureFlags. */
enum { KESTRUM_CAPTURE_UNLOAD_AFTER = 1u << 0, KESTRUM_CAPTURE_TO_FILE = 1u << 1, KESTRUM_CAPTURE_TO_MEMORY = 1u << 2 };

/* ExportParameters.exportFlags: the first format bit that is set wins. */
enum {
    KESTRUM_EXPORT_U3D = 1u << 0,
    KESTRUM_EXPORT_PRC = 1u << 1,
    KESTRUM_EXPORT_OBJ = 1u << 2,
    KESTRUM_EXPORT_OPTION_B = 1u << 4,
    KESTRUM_EXPORT_OPTION_C = 1u << 5,
    KESTRUM_EXPORT_OPTION_A = 1u << 6
};

/* CaptureResult.validFields. */
enum {
    KESTRUM_CAPTURE_VALID_SCENE_HANDLE = 1u << 0,
    KESTRUM_CAPTURE_VALID_SCENE_PATH = 1u << 1,
    KESTRUM_CAPTURE_VALID_OUTPUT_PATH = 1u << 3,
    KESTRUM_CAPTURE_VALID_PIXELS = 1u << 4
};

/* ActivateCamera's type (PublicEnums::ECameraActivationType); other values are refused. */
typedef uint32_t ECameraActivationType;
enum { KESTRUM_CAMERA_BY_NAME = 0, KESTRUM_CAMERA_FIRST = 1, KESTRUM_CAMERA_NEXT = 2, KESTRUM_CAMERA_BUILT_IN = 3 };

/* Property identifiers of SetProperty_* and GetProperty_*. */
enum {
    KESTRUM_PROPERTY_GL_MAJOR = 1,           /* Int32, read only */
    KESTRUM_PROPERTY_GL_MINOR = 2,           /* Int32, read only */
    KESTRUM_PROPERTY_COVERAGE_SAMPLING = 3,  /* Bool, read only */
    KESTRUM_PROPERTY_ANTI_ALIASING = 4,      /* Int32: colour samples | coverage << 16 */
    KESTRUM_PROPERTY_ANISOTROPY = 5,         /* Int32 */
    KESTRUM_PROPERTY_LIGHTING_SCHEME = 6,    /* Int32, 0 to 11 */
    KESTRUM_PROPERTY_BACKGROUND = 7,         /* Int32, 0x00RRGGBB */
    KESTRUM_PROPERTY_SCENE_FLAG_A = 8,       /* Bool */
    KESTRUM_PROPERTY_SCENE_FLAG_B = 9,       /* Bool */
    KESTRUM_PROPERTY_CONTROLLER_FLAG_A = 10, /* Bool */
    KESTRUM_PROPERTY_CONTROLLER_FLAG_B = 11  /* Bool */
};

/* ---- callbacks ------------------------------------------------------------------------- */

struct LoadSceneResult;
struct CaptureResult;
struct ExportSceneResult;
struct ActiveCameraInfo;

typedef void (*ProgressCallback)(float percent, uint32_t userTag);
typedef void (*LoadSceneCallback)(struct LoadSceneResult* result, int success);
typedef void (*CaptureCallback)(struct CaptureResult* result, int success);
typedef void (*ExportCallback)(struct ExportSceneResult* result, int success);
typedef void (*CameraCallback)(struct ActiveCameraInfo* info, int success);
typedef void (*HandleCallback)(uint32_t handle);
typedef void (*DoneCallback)(void);
typedef void (*CameraListCallback)(int zero, const char* const* names, const int* lengths, uint32_t count);
/* kind 0: anti-aliasing modes ((colorSamples << 16) | coverageSamples); kind 1: anisotropy levels. */
typedef void (*CapabilityCallback)(uint32_t kind, const uint32_t* values, uint32_t count);
/* The message belongs to the library and is valid only during the call. */
typedef void (*LoggingHook)(void* userData, int32_t level, KestrumSystemString message);

/* ---- request records (flat) ------------------------------------------------------------ */

typedef struct LoadSceneParameters {
    uint32_t flags;
    const char16_t* path;
    uint32_t sceneHandle;
    const void* data;
    uint32_t dataSize;
    uint32_t viewStringFlags;
    const char16_t* const* viewStrings;
    int32_t viewStringCount;
    uint32_t selectedViewIndex;
    uint32_t userTag;
    ProgressCallback progressCallback;
} LoadSceneParameters;

typedef struct ViewParameters {
    uint32_t flags;
    uint32_t backgroundColor; /* 0x??RRGGBB */
    uint32_t lightingScheme;
    const char16_t* cameraName;
    const char16_t* viewName;
    float cameraToWorld[12];
    float centerOfOrbit;
    uint32_t projectionScaling;
    float projectionScalingValue;
    float nearClip;
    float farClip;
    float fieldOfView;
    float orthoScale;
} ViewParameters;

typedef struct CaptureParameters {
    LoadSceneParameters load;
    ViewParameters view;
    uint32_t captureFlags;
    const char16_t* outputPath;
    int32_t width;
    int32_t height;
} CaptureParameters;

typedef struct ExportParameters {
    LoadSceneParameters load;
    uint32_t exportFlags;
    const char16_t* outputPath;
} ExportParameters;

/* Start-up record of CreateRenderProxy. */
typedef struct CreateInfo {
    KestrumWindow parentWindow;
    uint32_t reserved0;
    int32_t width;
    int32_t height;
    CapabilityCallback capabilityCallback;
    uint32_t reserved1;
} CreateInfo;

/* ---- result records -------------------------------------------------------------------- */

typedef struct ActiveCameraInfo {
    const char* name;
    uint32_t nameLength;
    uint32_t projectionType;
    uint32_t flagA;
    uint32_t flagB;
} ActiveCameraInfo;

typedef struct LoadSceneResult {
    const char* path;
    uint32_t pathLength;
    uint32_t sceneHandle;
    const char* const* cameraNames;
    const int32_t* cameraNameLengths;
    uint32_t cameraCount;
    ActiveCameraInfo* activeCamera;
    uint32_t renderMode;
    uint32_t userTag;
} LoadSceneResult;

typedef struct CaptureResult {
    const char* scenePath;
    uint32_t scenePathLength;
    uint32_t sceneHandle;
    uint32_t reserved[5];
    uint32_t userTag;
    uint32_t validFields;
    const char* outputPath;
    uint32_t outputPathLength;
    const void* pixels;
    uint32_t pixelBytes;
    int32_t width;
    int32_t height;
} CaptureResult;

typedef struct ExportSceneResult {
    uint32_t sceneHandle;
    const void* data;
    uint32_t dataSize;
    uint32_t userTag;
} ExportSceneResult;

typedef struct RenderProxyInfo {
    const char* instanceName;
    uint32_t instanceNameLength;
    uint32_t flags;
    uint16_t colorSamples;
    uint16_t coverageSamples;
    uint32_t anisotropy;
} RenderProxyInfo;

/* ---- the exported functions ------------------------------------------------------------ */

/* Logging */
KESTRUM_API uint8_t StartLoggingToDefault(uint32_t reserved, const char16_t* path, int append, uint32_t level);
KESTRUM_API void StopLoggingToDefault(void);
KESTRUM_API uint8_t IsLoggingToDefault(void);
KESTRUM_API void SetLogLevel(int32_t level);
KESTRUM_API int32_t GetLogLevel(void);
KESTRUM_API void Log(uint32_t reserved, int32_t level, const char16_t* message);
KESTRUM_API LoggingHook SetLoggingHook(void* userData, LoggingHook hook);
KESTRUM_API LoggingHook GetLoggingHook(void** userData);

/* Naming of the folder of generated capture files */
KESTRUM_API void SetCompanyName(uint32_t reserved, const char16_t* name);
KESTRUM_API KestrumSystemString GetCompanyName(void);
KESTRUM_API void SetApplicationName(uint32_t reserved, const char16_t* name);
KESTRUM_API KestrumSystemString GetApplicationName(void);

/* Setup and version */
KESTRUM_API void SetupRenderer(int32_t glMajor, int32_t glMinor, uint32_t antiAliasing, uint32_t options);
KESTRUM_API void ShutdownRenderer(void);
KESTRUM_API void GetLibraryVersion(int32_t libraryId, uint32_t* major, uint32_t* minor, uint32_t* build);

/* Capture scenes */
KESTRUM_API void LoadCaptureScene(uint32_t reserved, LoadSceneParameters load, LoadSceneCallback callback);
KESTRUM_API void UnloadCaptureScene(uint32_t handle, HandleCallback callback);
KESTRUM_API void UnloadAllCaptureScenes(DoneCallback callback);
KESTRUM_API void CaptureScene(uint32_t reserved, CaptureParameters parameters, CaptureCallback callback);

/* Render proxies */
KESTRUM_API RenderProxy3D* CreateRenderProxy(CreateInfo createInfo, RenderProxyInfo* info);
KESTRUM_API void DestroyRenderProxy(RenderProxy3D* proxy);
KESTRUM_API KestrumWindow GetRenderProxyHwnd(RenderProxy3D* proxy);
KESTRUM_API void LoadScene(uint32_t reserved, RenderProxy3D* proxy, LoadSceneParameters load, ViewParameters view,
                           LoadSceneCallback callback);
KESTRUM_API void CloseScene(RenderProxy3D* proxy, HandleCallback callback);
KESTRUM_API uint8_t IsSceneLoaded(RenderProxy3D* proxy);
KESTRUM_API void InterruptCurrentImport(void);
KESTRUM_API void ActivateCamera(uint32_t reserved, RenderProxy3D* proxy, ECameraActivationType type,
                                const char16_t* name, CameraCallback callback);
KESTRUM_API void GetAvailableCameras(RenderProxy3D* proxy, CameraListCallback callback);
KESTRUM_API void Screenshot(uint32_t reserved, RenderProxy3D* proxy, const char16_t* path);
KESTRUM_API void LoadViewInfoFromFile(uint32_t reserved, RenderProxy3D* proxy, const char16_t* path, int activate,
                                      CameraCallback callback);
KESTRUM_API void LoadViewInfoFromString(uint32_t reserved, RenderProxy3D* proxy, const char16_t* text, int activate,
                                        CameraCallback callback);
KESTRUM_API void ExportScene(uint32_t reserved, RenderProxy3D* proxy, ExportParameters parameters,
                             ExportCallback callback);

/* Properties */
KESTRUM_API void SetProperty_Bool(RenderProxy3D* proxy, uint32_t id, int value, int async);
KESTRUM_API void SetProperty_Int32(RenderProxy3D* proxy, uint32_t id, int32_t value, int async);
KESTRUM_API void SetProperty_Int64(RenderProxy3D* proxy, uint32_t id, int64_t value, int async);
KESTRUM_API void SetProperty_Double(RenderProxy3D* proxy, uint32_t id, double value, int async);
KESTRUM_API void SetProperty_String(uint32_t reserved, RenderProxy3D* proxy, uint32_t id, const char16_t* value,
                                    int async);
KESTRUM_API uint8_t GetProperty_Bool(RenderProxy3D* proxy, uint32_t id);
KESTRUM_API int32_t GetProperty_Int32(RenderProxy3D* proxy, uint32_t id);
KESTRUM_API int64_t GetProperty_Int64(RenderProxy3D* proxy, uint32_t id);
KESTRUM_API double GetProperty_Double(RenderProxy3D* proxy, uint32_t id);
KESTRUM_API KestrumSystemString GetProperty_String(RenderProxy3D* proxy, uint32_t id);

/* Releases a system string returned by the library; null is ignored. */
KESTRUM_API void FreeSystemString(KestrumSystemString text);

/* ---- pointer types for hosts that resolve the functions by name ------------------------ */

typedef uint8_t (*KestrumFn_StartLoggingToDefault)(uint32_t, const char16_t*, int, uint32_t);
typedef void (*KestrumFn_StopLoggingToDefault)(void);
typedef uint8_t (*KestrumFn_IsLoggingToDefault)(void);
typedef void (*KestrumFn_SetLogLevel)(int32_t);
typedef int32_t (*KestrumFn_GetLogLevel)(void);
typedef void (*KestrumFn_Log)(uint32_t, int32_t, const char16_t*);
typedef LoggingHook (*KestrumFn_SetLoggingHook)(void*, LoggingHook);
typedef LoggingHook (*KestrumFn_GetLoggingHook)(void**);
typedef void (*KestrumFn_SetCompanyName)(uint32_t, const char16_t*);
typedef KestrumSystemString (*KestrumFn_GetCompanyName)(void);
typedef void (*KestrumFn_SetApplicationName)(uint32_t, const char16_t*);
typedef KestrumSystemString (*KestrumFn_GetApplicationName)(void);
typedef void (*KestrumFn_SetupRenderer)(int32_t, int32_t, uint32_t, uint32_t);
typedef void (*KestrumFn_ShutdownRenderer)(void);
typedef void (*KestrumFn_GetLibraryVersion)(int32_t, uint32_t*, uint32_t*, uint32_t*);
typedef void (*KestrumFn_LoadCaptureScene)(uint32_t, LoadSceneParameters, LoadSceneCallback);
typedef void (*KestrumFn_UnloadCaptureScene)(uint32_t, HandleCallback);
typedef void (*KestrumFn_UnloadAllCaptureScenes)(DoneCallback);
typedef void (*KestrumFn_CaptureScene)(uint32_t, CaptureParameters, CaptureCallback);
typedef RenderProxy3D* (*KestrumFn_CreateRenderProxy)(CreateInfo, RenderProxyInfo*);
typedef void (*KestrumFn_DestroyRenderProxy)(RenderProxy3D*);
typedef KestrumWindow (*KestrumFn_GetRenderProxyHwnd)(RenderProxy3D*);
typedef void (*KestrumFn_LoadScene)(uint32_t, RenderProxy3D*, LoadSceneParameters, ViewParameters, LoadSceneCallback);
typedef void (*KestrumFn_CloseScene)(RenderProxy3D*, HandleCallback);
typedef uint8_t (*KestrumFn_IsSceneLoaded)(RenderProxy3D*);
typedef void (*KestrumFn_InterruptCurrentImport)(void);
typedef void (*KestrumFn_ActivateCamera)(uint32_t, RenderProxy3D*, ECameraActivationType, const char16_t*,
                                         CameraCallback);
typedef void (*KestrumFn_GetAvailableCameras)(RenderProxy3D*, CameraListCallback);
typedef void (*KestrumFn_Screenshot)(uint32_t, RenderProxy3D*, const char16_t*);
typedef void (*KestrumFn_LoadViewInfoFromFile)(uint32_t, RenderProxy3D*, const char16_t*, int, CameraCallback);
typedef void (*KestrumFn_LoadViewInfoFromString)(uint32_t, RenderProxy3D*, const char16_t*, int, CameraCallback);
typedef void (*KestrumFn_ExportScene)(uint32_t, RenderProxy3D*, ExportParameters, ExportCallback);
typedef void (*KestrumFn_SetProperty_Bool)(RenderProxy3D*, uint32_t, int, int);
typedef void (*KestrumFn_SetProperty_Int32)(RenderProxy3D*, uint32_t, int32_t, int);
typedef void (*KestrumFn_SetProperty_Int64)(RenderProxy3D*, uint32_t, int64_t, int);
typedef void (*KestrumFn_SetProperty_Double)(RenderProxy3D*, uint32_t, double, int);
typedef void (*KestrumFn_SetProperty_String)(uint32_t, RenderProxy3D*, uint32_t, const char16_t*, int);
typedef uint8_t (*KestrumFn_GetProperty_Bool)(RenderProxy3D*, uint32_t);
typedef int32_t (*KestrumFn_GetProperty_Int32)(RenderProxy3D*, uint32_t);
typedef int64_t (*KestrumFn_GetProperty_Int64)(RenderProxy3D*, uint32_t);
typedef double (*KestrumFn_GetProperty_Double)(RenderProxy3D*, uint32_t);
typedef KestrumSystemString (*KestrumFn_GetProperty_String)(RenderProxy3D*, uint32_t);
typedef void (*KestrumFn_FreeSystemString)(KestrumSystemString);

#ifdef __cplusplus
} /* namespace Kestrum */
} /* extern "C" */
#endif

#endif /* KESTRUM_H */
