/*
 * A program outside the project that links the installed library and its public header, as a
 * packaged host would: captures one scene into a picture file.
 *
 *   kestrum_consumer SCENE OUT [CAMERA]
 *
 * Exit status 0 when the library reports the picture written, 1 otherwise.
 */
#include <Kestrum.h>

#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

enum { kWaitSeconds = 120, kWhite = 0xFFFFFF, kFileLights = 1, kWidth = 320, kHeight = 240 };

/* One answer from the render thread. */
static pthread_mutex_t g_mutex = PTHREAD_MUTEX_INITIALIZER;
static pthread_cond_t g_answered = PTHREAD_COND_INITIALIZER;
static int g_arrived = 0;
static int g_success = 0;
static uint32_t g_validFields = 0;
static uint32_t g_sceneHandle = 0;

static void Arrive(void) {
    g_arrived = 1;
    pthread_cond_signal(&g_answered);
    pthread_mutex_unlock(&g_mutex);
}

static void OnCapture(CaptureResult* result, int success) {
    pthread_mutex_lock(&g_mutex);
    g_success = success;
    g_validFields = result ? result->validFields : 0;
    g_sceneHandle = result ? result->sceneHandle : 0;
    Arrive();
}

static void OnUnload(uint32_t handle) {
    (void)handle;
    pthread_mutex_lock(&g_mutex);
    Arrive();
}

/* Waits for the next answer; 0 when none came in time. */
static int WaitForAnswer(void) {
    struct timespec limit;
    clock_gettime(CLOCK_REALTIME, &limit);
    limit.tv_sec += kWaitSeconds;
    pthread_mutex_lock(&g_mutex);
    int timedOut = 0;
    while (!g_arrived && !timedOut) timedOut = pthread_cond_timedwait(&g_answered, &g_mutex, &limit) != 0;
    int arrived = g_arrived;
    g_arrived = 0;
    pthread_mutex_unlock(&g_mutex);
    return arrived;
}

/* The library takes UTF-16 text; the paths and names here are taken to be ASCII. */
static char16_t* Widen(const char* text) {
    size_t n = strlen(text);
    char16_t* wide = malloc((n + 1) * sizeof *wide);
    if (!wide) return NULL;
    for (size_t i = 0; i <= n; ++i) wide[i] = (char16_t)(unsigned char)text[i];
    return wide;
}

int main(int argc, char** argv) {
    if (argc < 3 || argc > 4) {
        fprintf(stderr, "usage: %s SCENE OUT [CAMERA]\n", argv[0]);
        return 1;
    }
    uint32_t major = 0, minor = 0, build = 0;
    GetLibraryVersion(4, &major, &minor, &build);
    printf("library %u.%u.%u\n", major, minor, build);

    char16_t* scene = Widen(argv[1]);
    char16_t* output = Widen(argv[2]);
    char16_t* camera = Widen(argc > 3 ? argv[3] : "");
    if (!scene || !output || !camera) return 1;

    SetupRenderer(0, 0, 0, 0);
    CaptureParameters parameters;
    memset(&parameters, 0, sizeof parameters);
    parameters.load.flags = KESTRUM_LOAD_FROM_FILE;
    parameters.load.path = scene;
    parameters.view.flags = KESTRUM_VIEW_ACTIVATE;
    parameters.view.backgroundColor = kWhite;
    parameters.view.lightingScheme = kFileLights;
    parameters.view.cameraName = camera;
    parameters.captureFlags = KESTRUM_CAPTURE_TO_FILE;
    parameters.outputPath = output;
    parameters.width = kWidth;
    parameters.height = kHeight;
    CaptureScene(0, parameters, OnCapture);

    int ok = WaitForAnswer() && g_success;
    if (!ok) fprintf(stderr, "%s: no picture of %s\n", argv[0], argv[1]);
    /* Unloaded explicitly: its answer tells that the render thread is free to stop. */
    if (g_validFields & KESTRUM_CAPTURE_VALID_SCENE_HANDLE) {
        UnloadCaptureScene(g_sceneHandle, OnUnload);
        WaitForAnswer();
    }
    ShutdownRenderer();
    ShutdownRenderer();
    free(scene);
    free(output);
    free(camera);
    return ok ? 0 : 1;
}
