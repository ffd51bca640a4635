#include "OffscreenContext.h"

#include <EGL/egl.h>
#include <EGL/eglext.h>

#include <cstdio>
#include <stdexcept>
#include <string>

namespace qorSensor::detail {
namespace {

// Texts of configuration failures; eglGetError() tells why the last call failed.
std::string eglFailure(const char* call) {
    char code[7];
    std::snprintf(code, sizeof code, "0x%04X", static_cast<unsigned int>(eglGetError()));
    return std::string(call) + " failed with EGL error " + code;
}

constexpr char kCannotCreate[] = "Camera: cannot make an offscreen OpenGL context: ";

// The surfaceless display of the process. EGL counts no initialisations, so it is initialised
// once and never terminated: terminating it would pull it from under every other camera. When
// setting it up throws, the next camera tries again.
EGLDisplay surfacelessDisplay() {
    static const EGLDisplay display = [] {
        const auto getPlatformDisplay = reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(
            eglGetProcAddress("eglGetPlatformDisplayEXT"));
        if (getPlatformDisplay == nullptr) {
            throw std::runtime_error(std::string(kCannotCreate) +
                                     "EGL offers no eglGetPlatformDisplayEXT (is Mesa's "
                                     "libegl-mesa0 installed?)");
        }
        const EGLDisplay candidate =
            getPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
        if (candidate == EGL_NO_DISPLAY) {
            throw std::runtime_error(kCannotCreate +
                                     eglFailure("eglGetPlatformDisplayEXT(surfaceless)"));
        }
        EGLint major = 0;
        EGLint minor = 0;
        if (eglInitialize(candidate, &major, &minor) != EGL_TRUE) {
            throw std::runtime_error(kCannotCreate + eglFailure("eglInitialize"));
        }
        return candidate;
    }();
    return display;
}

}  // namespace

OffscreenContext::OffscreenContext() : m_display(nullptr), m_context(nullptr) {
    const EGLDisplay display = surfacelessDisplay();
    const EGLint attributes[] = {EGL_SURFACE_TYPE,
                                 EGL_PBUFFER_BIT,
                                 EGL_RENDERABLE_TYPE,
                                 EGL_OPENGL_BIT,
                                 EGL_RED_SIZE,
                                 8,
                                 EGL_GREEN_SIZE,
                                 8,
                                 EGL_BLUE_SIZE,
                                 8,
                                 EGL_ALPHA_SIZE,
                                 8,
                                 EGL_DEPTH_SIZE,
                                 24,
                                 EGL_NONE};
    EGLConfig config = nullptr;
    EGLint found = 0;
    if (eglChooseConfig(display, attributes, &config, 1, &found) != EGL_TRUE || found < 1) {
        throw std::runtime_error(kCannotCreate +
                                 eglFailure("eglChooseConfig(8-bit RGBA, 24-bit depth)"));
    }
    // MuJoCo draws with desktop OpenGL (fixed-function included), not OpenGL ES.
    if (eglBindAPI(EGL_OPENGL_API) != EGL_TRUE) {
        throw std::runtime_error(kCannotCreate + eglFailure("eglBindAPI(EGL_OPENGL_API)"));
    }
    const EGLContext context = eglCreateContext(display, config, EGL_NO_CONTEXT, nullptr);
    if (context == EGL_NO_CONTEXT) {
        throw std::runtime_error(kCannotCreate + eglFailure("eglCreateContext"));
    }
    m_display = display;
    m_context = context;
}

OffscreenContext::~OffscreenContext() {
    eglDestroyContext(static_cast<EGLDisplay>(m_display), static_cast<EGLContext>(m_context));
}

OffscreenContext::Current::Current(const OffscreenContext& context)
    : m_display(context.m_display),
      m_previousDisplay(eglGetCurrentDisplay()),
      m_previousDraw(eglGetCurrentSurface(EGL_DRAW)),
      m_previousRead(eglGetCurrentSurface(EGL_READ)),
      m_previousContext(eglGetCurrentContext()) {
    if (eglMakeCurrent(static_cast<EGLDisplay>(context.m_display), EGL_NO_SURFACE, EGL_NO_SURFACE,
                       static_cast<EGLContext>(context.m_context)) != EGL_TRUE) {
        throw std::runtime_error("Camera: cannot render: " + eglFailure("eglMakeCurrent"));
    }
}

OffscreenContext::Current::~Current() {
    if (m_previousContext != EGL_NO_CONTEXT) {
        eglMakeCurrent(
            static_cast<EGLDisplay>(m_previousDisplay), static_cast<EGLSurface>(m_previousDraw),
            static_cast<EGLSurface>(m_previousRead), static_cast<EGLContext>(m_previousContext));
    } else {
        eglMakeCurrent(static_cast<EGLDisplay>(m_display), EGL_NO_SURFACE, EGL_NO_SURFACE,
                       EGL_NO_CONTEXT);
    }
}

}  // namespace qorSensor::detail
