#pragma once

namespace qorSensor::detail {

// An OpenGL context without any window or display: EGL on Mesa's surfaceless platform, which
// renders with the software rasteriser when there is no GPU. Cameras render into framebuffer
// objects of their own, so the context needs no surface at all.
//
// A context can be current on one thread at a time; each Current makes it current on the calling
// thread for its lifetime and releases it afterwards, so that any thread may render in turn.
class OffscreenContext {
  public:
    // Creates the context (the EGL display is set up once per process). Throws
    // std::runtime_error naming the EGL call that failed and its error code.
    OffscreenContext();
    ~OffscreenContext();

    OffscreenContext(const OffscreenContext&) = delete;
    OffscreenContext& operator=(const OffscreenContext&) = delete;
    OffscreenContext(OffscreenContext&&) = delete;
    OffscreenContext& operator=(OffscreenContext&&) = delete;

    // Makes the context current on the calling thread while it lives, then puts back the EGL
    // context that was current before (or none).
    class Current {
      public:
        // Throws std::runtime_error when the context cannot be made current (it is current on
        // another thread, say).
        explicit Current(const OffscreenContext& context);
        ~Current();

        Current(const Current&) = delete;
        Current& operator=(const Current&) = delete;
        Current(Current&&) = delete;
        Current& operator=(Current&&) = delete;

      private:
        void* m_display;
        void* m_previousDisplay;
        void* m_previousDraw;
        void* m_previousRead;
        void* m_previousContext;
    };

  private:
    void* m_display;
    void* m_context;
};

}  // namespace qorSensor::detail
