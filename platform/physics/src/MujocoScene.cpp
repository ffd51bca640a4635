#include "MujocoScene.h"

#include <array>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>

#include "Log.h"
#include "qor/Notify.h"

namespace qorSDK::detail {
namespace {

// MuJoCo prints its warnings to stdout and appends them to MUJOCO_LOG.TXT in the working
// directory unless a handler is installed. The simulation reports every step's warnings itself,
// with joint names, so MuJoCo's own wording is only kept for debugging.
void forwardMujocoWarning(const char* text) {
    log(qor::DEBUG, std::string("MuJoCo: ") + text);
}

// MuJoCo's default error handler waits for a key press on stdin before it exits, which hangs a
// process that has no terminal. Its errors cannot be recovered from (the handler must not
// return), so the line is logged and the process aborts at once.
void abortOnMujocoError(const char* text) {
    log(qor::FATAL, std::string("MuJoCo: ") + text);
    std::abort();
}

// Installs the handlers once per process, leaving alone any that the application installed.
void installHandlers() {
    static std::once_flag once;
    std::call_once(once, [] {
        if (mju_user_warning == nullptr) {
            mju_user_warning = forwardMujocoWarning;
        }
        if (mju_user_error == nullptr) {
            mju_user_error = abortOnMujocoError;
        }
    });
}

// MuJoCo ends its messages with line ends; they are cut so that a message fits in one line of
// text after our own words.
std::string trimmed(const char* text) {
    std::string result(text);
    while (!result.empty() && std::strchr(" \t\r\n", result.back()) != nullptr) {
        result.pop_back();
    }
    return result;
}

mjModel* compile(const char* filename, const mjVFS* vfs, const std::string& what) {
    installHandlers();
    std::array<char, 4096> error{};
    mjModel* model = mj_loadXML(filename, vfs, error.data(), static_cast<int>(error.size()));
    const std::string text = trimmed(error.data());
    if (model == nullptr) {
        throw std::runtime_error("Simulation: cannot load " + what + ": " +
                                 (text.empty() ? std::string("MuJoCo gave no reason") : text));
    }
    if (!text.empty()) {
        log(qor::WARNING, "Simulation: loading " + what + ": " + text);
    }
    return model;
}

// A virtual file system that forgets its files when it goes.
struct VirtualFiles {
    VirtualFiles() { mj_defaultVFS(&files); }
    ~VirtualFiles() { mj_deleteVFS(&files); }
    VirtualFiles(const VirtualFiles&) = delete;
    VirtualFiles& operator=(const VirtualFiles&) = delete;
    VirtualFiles(VirtualFiles&&) = delete;
    VirtualFiles& operator=(VirtualFiles&&) = delete;

    mjVFS files{};
};

}  // namespace

qor::ref_ptr<MujocoScene> MujocoScene::loadFile(const std::string& path) {
    const std::string what = "MJCF file '" + path + "'";
    return new MujocoScene(compile(path.c_str(), nullptr, what), what);
}

qor::ref_ptr<MujocoScene> MujocoScene::loadText(const std::string& mjcf) {
    const std::string what = "MJCF text";
    // The text goes in with its terminating NUL: MuJoCo refuses empty files with a fatal error,
    // while an empty document gets its ordinary parse error.
    const std::size_t size = mjcf.size() + 1;
    if (size > static_cast<std::size_t>(INT_MAX)) {
        throw std::runtime_error("Simulation: cannot load " + what + ": it is larger than 2 GiB");
    }
    // mjVFS holds its file names inline, about 2 MB: too large for the stack.
    auto vfs = std::make_unique<VirtualFiles>();
    const char* name = "simulation.xml";
    if (mj_makeEmptyFileVFS(&vfs->files, name, static_cast<int>(size)) != 0) {
        throw std::runtime_error("Simulation: cannot load " + what +
                                 ": MuJoCo could not make room for it in memory");
    }
    std::memcpy(vfs->files.filedata[mj_findFileVFS(&vfs->files, name)], mjcf.c_str(), size);
    return new MujocoScene(compile(name, &vfs->files, what), what);
}

MujocoScene::MujocoScene(mjModel* model, const std::string& source)
    : m_model(model),
      m_data(mj_makeData(model)),
      m_name(model->names != nullptr ? model->names : "") {
    if (m_data == nullptr) {
        mj_deleteModel(m_model);
        throw std::runtime_error("Simulation: cannot make the state of " + source +
                                 ": MuJoCo could not allocate it");
    }
}

MujocoScene::~MujocoScene() {
    mj_deleteData(m_data);
    mj_deleteModel(m_model);
}

std::string MujocoScene::describeJoint(int joint) const {
    const char* name = mj_id2name(m_model, mjOBJ_JOINT, joint);
    if (name == nullptr || *name == '\0') {
        return "unnamed joint " + std::to_string(joint);
    }
    return "joint '" + std::string(name) + "'";
}

}  // namespace qorSDK::detail
