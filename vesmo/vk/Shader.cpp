#include "vesmo/vk/Shader.hpp"

#include "vesmo/vk/Device.hpp"
#include "vesmo/vk/Vk.hpp"

#include <shaderc/shaderc.h>

#include <fstream>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace vesmo::vk {

namespace {

struct StageEntry {
    VkShaderStageFlagBits stage;
    const char* extension; // without the dot
    shaderc_shader_kind kind;
    bool rayTracing;
};

constexpr StageEntry Stages[] = {
    {VK_SHADER_STAGE_VERTEX_BIT, "vert", shaderc_vertex_shader, false},
    {VK_SHADER_STAGE_FRAGMENT_BIT, "frag", shaderc_fragment_shader, false},
    {VK_SHADER_STAGE_COMPUTE_BIT, "comp", shaderc_compute_shader, false},
    {VK_SHADER_STAGE_GEOMETRY_BIT, "geom", shaderc_geometry_shader, false},
    {VK_SHADER_STAGE_TESSELLATION_CONTROL_BIT, "tesc", shaderc_tess_control_shader, false},
    {VK_SHADER_STAGE_TESSELLATION_EVALUATION_BIT, "tese", shaderc_tess_evaluation_shader, false},
    {VK_SHADER_STAGE_RAYGEN_BIT_KHR, "rgen", shaderc_raygen_shader, true},
    {VK_SHADER_STAGE_INTERSECTION_BIT_KHR, "rint", shaderc_intersection_shader, true},
    {VK_SHADER_STAGE_ANY_HIT_BIT_KHR, "rahit", shaderc_anyhit_shader, true},
    {VK_SHADER_STAGE_CLOSEST_HIT_BIT_KHR, "rchit", shaderc_closesthit_shader, true},
    {VK_SHADER_STAGE_MISS_BIT_KHR, "rmiss", shaderc_miss_shader, true},
    {VK_SHADER_STAGE_CALLABLE_BIT_KHR, "rcall", shaderc_callable_shader, true},
};

const StageEntry& Find(VkShaderStageFlagBits stage) {
    for (const StageEntry& info : Stages)
        if (info.stage == stage)
            return info;
    throw std::runtime_error("Shader stage " + std::to_string(stage) + " has no file extension");
}

std::mutex pathsMutex;
std::vector<std::string>& Paths() {
    static std::vector<std::string> paths = {".", VESMO_SHADER_BUILD_DIR, VESMO_SOURCE_DIR};
    return paths;
}

bool ReadFile(const std::string& path, std::string& out) {
    std::ifstream file(path, std::ios::binary);
    if (!file)
        return false;
    std::ostringstream text;
    text << file.rdbuf();
    out = text.str();
    return true;
}

std::string Folder(const std::string& path) {
    const size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? std::string(".") : path.substr(0, slash);
}

// "#include" for libshaderc: beside the including file first, then the search folders.
struct Included {
    shaderc_include_result result{};
    std::string name, content;
};

shaderc_include_result* Resolve(void*, const char* requested, int type, const char* requesting, size_t) {
    auto* included = new Included;
    std::vector<std::string> candidates;
    if (type == shaderc_include_type_relative)
        candidates.push_back(Folder(requesting) + "/" + requested);
    for (const std::string& folder : Shader::SearchPaths())
        candidates.push_back(folder + "/" + requested);
    if (requested[0] == '/')
        candidates.insert(candidates.begin(), requested);
    for (const std::string& candidate : candidates)
        if (ReadFile(candidate, included->content)) {
            included->name = candidate;
            break;
        }
    if (included->name.empty())
        included->content = std::string("cannot find ") + requested; // an empty name tells shaderc it failed
    included->result.source_name = included->name.c_str();
    included->result.source_name_length = included->name.size();
    included->result.content = included->content.c_str();
    included->result.content_length = included->content.size();
    included->result.user_data = included;
    return &included->result;
}

void Release(void*, shaderc_include_result* result) { delete static_cast<Included*>(result->user_data); }

} // namespace

std::vector<uint32_t> Shader::CompileGlsl(const std::string& source, VkShaderStageFlagBits stage,
                                          const std::string& name) {
    std::string text = source;
    // A first line that names a stage ("#rcall") chooses it; the line stays, as an empty line, so that the
    // compiler's line numbers are the text's.
    const StageEntry* info = &Find(stage);
    const size_t firstEnd = text.find('\n');
    const std::string first = text.substr(0, firstEnd);
    for (const StageEntry& candidate : Stages)
        if (first == std::string("#") + candidate.extension || first == std::string("#") + candidate.extension + "\r") {
            info = &candidate;
            text.replace(0, first.size(), "");
            break;
        }
    const bool hasVersion = text.find("#version") != std::string::npos;
    if (info->rayTracing && text.find("GL_EXT_ray_tracing") == std::string::npos) {
        if (hasVersion) {
            // After the version line, which must come first.
            const size_t version = text.find("#version");
            const size_t end = text.find('\n', version);
            text.insert(end == std::string::npos ? text.size() : end + 1, "#extension GL_EXT_ray_tracing : require\n");
        } else {
            text.insert(0, "#extension GL_EXT_ray_tracing : require\n");
        }
    }

    shaderc_compiler_t compiler = shaderc_compiler_initialize();
    shaderc_compile_options_t options = shaderc_compile_options_initialize();
    shaderc_compile_options_set_target_env(options, shaderc_target_env_vulkan, shaderc_env_version_vulkan_1_3);
    shaderc_compile_options_set_target_spirv(options, shaderc_spirv_version_1_6);
    shaderc_compile_options_set_source_language(options, shaderc_source_language_glsl);
    shaderc_compile_options_set_optimization_level(options, shaderc_optimization_level_performance);
    if (!hasVersion)
        shaderc_compile_options_set_forced_version_profile(options, 460, shaderc_profile_none);
    shaderc_compile_options_set_include_callbacks(options, &Resolve, &Release, nullptr);
    shaderc_compilation_result_t result =
        shaderc_compile_into_spv(compiler, text.data(), text.size(), info->kind, name.c_str(), "main", options);
    const bool ok = shaderc_result_get_compilation_status(result) == shaderc_compilation_status_success;
    std::string message = shaderc_result_get_error_message(result);
    std::vector<uint32_t> spirv;
    if (ok) {
        const size_t bytes = shaderc_result_get_length(result);
        spirv.resize(bytes / 4);
        std::memcpy(spirv.data(), shaderc_result_get_bytes(result), bytes);
    }
    shaderc_result_release(result);
    shaderc_compile_options_release(options);
    shaderc_compiler_release(compiler);
    if (!ok) {
        while (!message.empty() && (message.back() == '\n' || message.back() == '\r'))
            message.pop_back();
        throw std::runtime_error("Shader compilation failed: " + name + ": " + message);
    }
    return spirv;
}

const char* Shader::Extension(VkShaderStageFlagBits stage) { return Find(stage).extension; }

void Shader::AddSearchPath(const std::string& folder) {
    std::lock_guard lock(pathsMutex);
    Paths().push_back(folder);
}

std::vector<std::string> Shader::SearchPaths() {
    std::lock_guard lock(pathsMutex);
    return Paths();
}

bool Shader::Exists(const std::string& baseName, VkShaderStageFlagBits stage) {
    const std::string file = baseName + "." + Extension(stage);
    for (const std::string& folder : SearchPaths())
        for (const std::string& candidate : {folder + "/" + file + ".spv", folder + "/" + file})
            if (std::ifstream(candidate))
                return true;
    return false;
}

Shader::Shader(Device* device, const std::string& baseName, VkShaderStageFlagBits stage)
    : _device(device), _stage(stage), _name(baseName + "." + Extension(stage)) {
    std::vector<std::string> folders = SearchPaths();
    if (!baseName.empty() && baseName[0] == '/')
        folders = {""};
    bool found = false;
    for (const std::string& folder : folders) {
        const std::string path = (folder.empty() ? "" : folder + "/") + _name;
        std::string bytes;
        if (ReadFile(path + ".spv", bytes)) {
            _spirv.resize(bytes.size() / 4);
            std::memcpy(_spirv.data(), bytes.data(), _spirv.size() * 4);
            found = true;
            break;
        }
        if (ReadFile(path, bytes)) {
            _spirv = CompileGlsl(bytes, stage, path);
            found = true;
            break;
        }
    }
    if (!found)
        throw std::runtime_error("Shader not found: " + _name);
    *this = Shader(device, std::move(_spirv), stage, _name);
}

Shader Shader::FromSource(Device* device, const std::string& source, VkShaderStageFlagBits stage,
                          const std::string& name) {
    // The text may name another stage than the argument: the compiled stage is the one it names.
    VkShaderStageFlagBits named = stage;
    const std::string first = source.substr(0, source.find('\n'));
    for (const StageEntry& candidate : Stages)
        if (first == std::string("#") + candidate.extension)
            named = candidate.stage;
    return Shader(device, CompileGlsl(source, stage, name), named, name);
}

Shader::Shader(Device* device, std::vector<uint32_t> spirv, VkShaderStageFlagBits stage, const std::string& name)
    : _device(device), _stage(stage), _spirv(std::move(spirv)), _name(name) {
    if (!device)
        return;
    VkShaderModuleCreateInfo info{VK_STRUCTURE_TYPE_SHADER_MODULE_CREATE_INFO};
    info.codeSize = _spirv.size() * sizeof(uint32_t);
    info.pCode = _spirv.data();
    Check(vkCreateShaderModule(device->Handle(), &info, nullptr, &_module), "vkCreateShaderModule");
    device->SetName(VK_OBJECT_TYPE_SHADER_MODULE, _module, name);
}

Shader::~Shader() { Destroy(); }

Shader::Shader(Shader&& other) noexcept { *this = std::move(other); }

Shader& Shader::operator=(Shader&& other) noexcept {
    if (this != &other) {
        Destroy();
        _device = other._device;
        _module = std::exchange(other._module, VK_NULL_HANDLE);
        _stage = other._stage;
        _spirv = std::move(other._spirv);
        _name = std::move(other._name);
    }
    return *this;
}

VkPipelineShaderStageCreateInfo Shader::StageInfo() const {
    VkPipelineShaderStageCreateInfo info{VK_STRUCTURE_TYPE_PIPELINE_SHADER_STAGE_CREATE_INFO};
    info.stage = _stage;
    info.module = _module;
    info.pName = "main";
    return info;
}

void Shader::Destroy() {
    if (_module) {
        vkDestroyShaderModule(_device->Handle(), _module, nullptr);
        _module = VK_NULL_HANDLE;
    }
}

} // namespace vesmo::vk
