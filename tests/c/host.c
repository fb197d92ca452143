/*
 * A host written in plain C from the public header alone: loads the library with dlopen,
 * resolves every function by name and drives the parts that need no scene files.
 */
#include "Kestrum.h"

#include <dlfcn.h>
#include <pthread.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

static int g_passed = 0;
static int g_failed = 0;

#define CHECK(cond)                                                                  \
    do {                                                                             \
        if (cond) {                                                                  \
            ++g_passed;                                                              \
        } else {                                                                     \
            ++g_failed;                                                              \
            fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond); \
        }                                                                            \
    } while (0)

/* Every function, declared and resolved by name from one list. */
#define KESTRUM_EXPORTS(X)                                                                                           \
    X(StartLoggingToDefault)                                                                                         \
    X(StopLoggingToDefault) X(IsLoggingToDefault) X(SetLogLevel) X(GetLogLevel) X(Log) X(SetLoggingHook)             \
        X(GetLoggingHook) X(SetCompanyName) X(GetCompanyName) X(SetApplicationName) X(GetApplicationName)            \
            X(SetupRenderer) X(ShutdownRenderer) X(GetLibraryVersion) X(LoadCaptureScene) X(UnloadCaptureScene)      \
                X(UnloadAllCaptureScenes) X(CaptureScene) X(CreateRenderProxy) X(DestroyRenderProxy)                 \
                    X(GetRenderProxyHwnd) X(LoadScene) X(CloseScene) X(IsSceneLoaded) X(InterruptCurrentImport)      \
                        X(ActivateCamera) X(GetAvailableCameras) X(Screenshot) X(LoadViewInfoFromFile)               \
                            X(LoadViewInfoFromString) X(ExportScene) X(SetProperty_Bool) X(SetProperty_Int32)        \
                                X(SetProperty_Int64) X(SetProperty_Double) X(SetProperty_String) X(GetProperty_Bool) \
                                    X(GetProperty_Int32) X(GetProperty_Int64) X(GetProperty_Double)                  \
                                        X(GetProperty_String) X(FreeSystemString)

static struct {
#define DECLARE(name) KestrumFn_##name name;
    KESTRUM_EXPORTS(DECLARE)
#undef DECLARE
} K;

static int Resolve(void* lib) {
    int missing = 0;
#define RESOLVE(name)                                  \
    *(void**)(&K.name) = dlsym(lib, #name);            \
    if (!K.name) {                                     \
        fprintf(stderr, "missing export %s\n", #name); \
        ++missing;                                     \
    }
    KESTRUM_EXPORTS(RESOLVE)
#undef RESOLVE
    return missing;
}

static void SleepMs(long ms) {
    struct timespec ts = {ms / 1000, (ms % 1000) * 1000000L};
    nanosleep(&ts, NULL);
}

/* ---- system strings ------------------------------------------------------------------ */

/* Byte length stored in front of the text. */
static uint32_t SystemStringBytes(const char16_t* s) {
    uint32_t bytes;
    memcpy(&bytes, (const char*)s - sizeof(uint32_t), sizeof bytes);
    return bytes;
}

/* True when a system string holds exactly the ASCII text. */
static int SystemStringEquals(const char16_t* s, const char* ascii) {
    size_t n = strlen(ascii);
    if (!s || SystemStringBytes(s) != n * 2 || s[n] != 0) return 0;
    for (size_t i = 0; i < n; ++i)
        if (s[i] != (char16_t)(unsigned char)ascii[i]) return 0;
    return 1;
}

/* ---- the log hook -------------------------------------------------------------------- */

static pthread_mutex_t g_hookMutex = PTHREAD_MUTEX_INITIALIZER;
static char g_hookText[65536];
static size_t g_hookLength = 0;
static int g_hookBadLength = 0;
static int g_hookUserData = 0;
static atomic_int g_hookCalls;

static void TestHook(void* userData, int32_t level, KestrumSystemString message) {
    (void)level;
    if (userData != &g_hookUserData) return;
    uint32_t bytes = SystemStringBytes(message);
    pthread_mutex_lock(&g_hookMutex);
    if (bytes % 2 != 0 || message[bytes / 2] != 0) g_hookBadLength = 1;
    for (uint32_t i = 0; i < bytes / 2 && g_hookLength + 1 < sizeof g_hookText; ++i)
        g_hookText[g_hookLength++] = message[i] < 128 ? (char)message[i] : '?';
    g_hookText[g_hookLength] = 0;
    pthread_mutex_unlock(&g_hookMutex);
    atomic_fetch_add(&g_hookCalls, 1);
}

/* Waits up to two seconds for the hook to have seen the text. */
static int HookSaw(const char* text) {
    for (int i = 0; i < 200; ++i) {
        pthread_mutex_lock(&g_hookMutex);
        int found = strstr(g_hookText, text) != NULL;
        pthread_mutex_unlock(&g_hookMutex);
        if (found) return 1;
        SleepMs(10);
    }
    return 0;
}

/* ---- callbacks of queued work ---------------------------------------------------------- */

static atomic_int g_loadCalls;
static atomic_int g_loadSuccess;
static atomic_uint g_loadHandle;
static atomic_uint g_loadTag;
static char g_loadPath[256];

static void OnLoad(LoadSceneResult* result, int success) {
    if (result && result->path && result->pathLength < sizeof g_loadPath) {
        memcpy(g_loadPath, result->path, result->pathLength);
        g_loadPath[result->pathLength] = 0;
    }
    atomic_store(&g_loadSuccess, success);
    atomic_store(&g_loadHandle, result ? result->sceneHandle : 99u);
    atomic_store(&g_loadTag, result ? result->userTag : 0u);
    atomic_fetch_add(&g_loadCalls, 1);
}

static atomic_int g_callbackCalls;
static void OnHandle(uint32_t handle) {
    (void)handle;
    atomic_fetch_add(&g_callbackCalls, 1);
}
static void OnCamera(ActiveCameraInfo* info, int success) {
    (void)info;
    (void)success;
    atomic_fetch_add(&g_callbackCalls, 1);
}
static void OnCameraList(int zero, const char* const* names, const int* lengths, uint32_t count) {
    (void)zero;
    (void)names;
    (void)lengths;
    (void)count;
    atomic_fetch_add(&g_callbackCalls, 1);
}

/* ---- the checks ---------------------------------------------------------------------- */

/* Every known library answers with some version; an unknown one or a missing output is refused. */
static void CheckVersions(void) {
    uint32_t major = 777, minor = 777, build = 777;
    K.GetLibraryVersion(0, &major, &minor, &build);
    CHECK(major != 777 && minor != 777 && build != 777);
    major = minor = build = 777;
    K.GetLibraryVersion(5, &major, &minor, &build);
    K.GetLibraryVersion(-1, &major, &minor, &build);
    K.GetLibraryVersion(0, &major, NULL, &build);
    CHECK(major == 777 && minor == 777 && build == 777);
}

static void CheckNames(void) {
    KestrumSystemString empty = K.GetCompanyName();
    CHECK(empty != NULL);
    K.FreeSystemString(empty);

    K.SetCompanyName(0xFFFFFFFFu, u"Ac\u00e9me \U0001F600");
    KestrumSystemString company = K.GetCompanyName();
    static const char16_t expected[] = u"Ac\u00e9me \U0001F600";
    CHECK(company != NULL && SystemStringBytes(company) == sizeof expected - 2 &&
          memcmp(company, expected, sizeof expected) == 0);
    K.FreeSystemString(company);

    K.SetApplicationName(0, u"Viewer");
    KestrumSystemString app = K.GetApplicationName();
    CHECK(SystemStringEquals(app, "Viewer"));
    K.FreeSystemString(app);

    /* A null name is the empty text: a valid, empty string comes back. */
    K.SetApplicationName(0, NULL);
    app = K.GetApplicationName();
    CHECK(app != NULL && SystemStringBytes(app) == 0 && app[0] == 0);
    K.FreeSystemString(app);
    K.FreeSystemString(NULL);
}

static void CheckNullProxy(void) {
    CHECK(K.GetProperty_Bool(NULL, 3) == 0);
    CHECK(K.GetProperty_Int32(NULL, 1) == 0);
    CHECK(K.GetProperty_Int64(NULL, 1) == 0);
    CHECK(K.GetProperty_Double(NULL, 1) == 0.0);
    CHECK(K.GetProperty_String(NULL, 1) == NULL);
    CHECK(K.IsSceneLoaded(NULL) == 0);
    CHECK(K.GetRenderProxyHwnd(NULL) == 0);

    /* Null-proxy calls are silent no-ops, callbacks included. */
    LoadSceneParameters load;
    ViewParameters view;
    memset(&load, 0, sizeof load);
    memset(&view, 0, sizeof view);
    atomic_store(&g_callbackCalls, 0);
    int loadsBefore = atomic_load(&g_loadCalls);
    K.SetProperty_Bool(NULL, 8, 1, 0);
    K.SetProperty_Int32(NULL, 6, 3, 0);
    K.SetProperty_Int64(NULL, 1, 3, 1);
    K.SetProperty_Double(NULL, 1, 3.0, 0);
    K.SetProperty_String(0, NULL, 1, u"x", 0);
    K.LoadScene(0, NULL, load, view, OnLoad);
    K.CloseScene(NULL, OnHandle);
    K.ActivateCamera(0, NULL, KESTRUM_CAMERA_FIRST, NULL, OnCamera);
    K.GetAvailableCameras(NULL, OnCameraList);
    K.Screenshot(0, NULL, u"/nonexistent/shot.png");
    K.LoadViewInfoFromFile(0, NULL, u"x", 1, OnCamera);
    K.LoadViewInfoFromString(0, NULL, u"<<>>", 1, OnCamera);
    K.DestroyRenderProxy(NULL);
    K.InterruptCurrentImport();
    /* Without a capture render thread the unload entries do nothing. */
    K.UnloadCaptureScene(5, OnHandle);
    SleepMs(50);
    CHECK(atomic_load(&g_callbackCalls) == 0);
    CHECK(atomic_load(&g_loadCalls) == loadsBefore);

    CreateInfo create;
    memset(&create, 0, sizeof create);
    CHECK(K.CreateRenderProxy(create, NULL) == NULL);
}

/* A default log that cannot be opened changes nothing, the level included. */
static void CheckLogLevels(void) {
    K.SetLogLevel(3);
    CHECK(K.StartLoggingToDefault(0, u"", 0, 6) == 0);
    CHECK(K.GetLogLevel() == 3);
}

static void CheckHook(void) {
    CHECK(K.SetLoggingHook(&g_hookUserData, TestHook) == NULL);
    void* userData = NULL;
    CHECK(K.GetLoggingHook(&userData) == TestHook);
    CHECK(userData == &g_hookUserData);
    CHECK(K.GetLoggingHook(NULL) == TestHook);
    K.SetLogLevel(5);
    K.Log(0, 2, u"c host says hello");
    CHECK(HookSaw("c host says hello\n"));
    /* Above the level nothing arrives. */
    K.SetLogLevel(1);
    K.Log(0, 3, u"c host too verbose");
    K.Log(0, 1, u"c host marker");
    CHECK(HookSaw("c host marker"));
    CHECK(!HookSaw("c host too verbose"));
    K.SetLogLevel(5);
}

static void CheckCaptureWithoutScene(void) {
    LoadSceneParameters load;
    memset(&load, 0, sizeof load);
    load.flags = KESTRUM_LOAD_FROM_FILE;
    load.path = u"/nonexistent/kestrum/scene.u3d";
    load.userTag = 4242;
    int before = atomic_load(&g_loadCalls);
    K.LoadCaptureScene(0x12345678u, load, OnLoad);
    for (int i = 0; i < 500 && atomic_load(&g_loadCalls) == before; ++i) SleepMs(10);
    if (atomic_load(&g_loadCalls) == before) {
        /* The renderer could not start here: then the callback is never called. */
        CHECK(HookSaw("CaptureProxy::LoadScene: RenderThread not available!"));
    } else {
        CHECK(atomic_load(&g_loadSuccess) == 0);
        CHECK(atomic_load(&g_loadHandle) == 0);
        CHECK(atomic_load(&g_loadTag) == 4242);
        CHECK(strcmp(g_loadPath, "/nonexistent/kestrum/scene.u3d") == 0);
        CHECK(HookSaw("CaptureProxy::DoLoadScene: Invalid filename '/nonexistent/kestrum/scene.u3d'!"));
    }
    K.ShutdownRenderer();
}

static void CheckDefaultLog(void) {
    char path[] = "/tmp/kestrum_c_host_XXXXXX";
    int fd = mkstemp(path);
    CHECK(fd >= 0);
    if (fd < 0) return;
    close(fd);
    char16_t widePath[sizeof path];
    for (size_t i = 0; i < sizeof path; ++i) widePath[i] = (char16_t)(unsigned char)path[i];

    CHECK(K.StartLoggingToDefault(0, widePath, 0, 4) == 1);
    CHECK(K.IsLoggingToDefault() == 1);
    CHECK(K.GetLogLevel() == 4);
    K.Log(0, 2, u"written to the default log");
    K.StopLoggingToDefault();
    CHECK(K.IsLoggingToDefault() == 0);

    FILE* f = fopen(path, "rb");
    CHECK(f != NULL);
    if (f) {
        static char text[65536];
        size_t n = fread(text, 1, sizeof text - 1, f);
        text[n] = 0;
        fclose(f);
        CHECK(strstr(text, "Session Start (") != NULL);
        CHECK(strstr(text, "[WARNING] written to the default log\n") != NULL);
        CHECK(strstr(text, "Session End (") != NULL);
    }
    remove(path);
}

int main(void) {
    void* lib = dlopen(KESTRUM_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
    if (!lib) {
        fprintf(stderr, "cannot load %s: %s\n", KESTRUM_LIBRARY_PATH, dlerror());
        printf("0 passed, 1 failed\n");
        return 1;
    }
    CHECK(Resolve(lib) == 0);
    if (g_failed) {
        printf("%d passed, %d failed\n", g_passed, g_failed);
        return 1;
    }

    CheckHook();
    CheckVersions();
    CheckNames();
    CheckNullProxy();
    CheckCaptureWithoutScene();
    CheckLogLevels();
    CHECK(g_hookBadLength == 0);
    CHECK(atomic_load(&g_hookCalls) > 0);
    CHECK(K.SetLoggingHook(NULL, NULL) == TestHook);
    CHECK(K.GetLoggingHook(NULL) == NULL);
    CheckDefaultLog();

    printf("%d passed, %d failed\n", g_passed, g_failed);
    return g_failed == 0 ? 0 : 1;
}
