#pragma once
// vesmo::vk::Shader: a shader module, from GLSL compiled at build time or from source text at run time.
//
// Shaders are known by a base name and a stage: "game/graphics/crosshair" with VK_SHADER_STAGE_VERTEX_BIT
// is the GLSL file "game/graphics/crosshair.vert". The stage's file extensions are
//   .vert .frag .comp .geom .tesc .tese .rgen .rint .rahit .rchit .rmiss .rcall
//
// At build time, the CMake helper vesmo_add_shaders (cmake/VesmoShaders.cmake) runs glslc on the GLSL
// files of the repository and writes "<base name>.<ext>.spv" under build/shaders/ (same relative path).
// At run time Shader looks for, in this order, in each search folder (AddSearchPath; by default the
// current folder, then the build's shader folder):
//   1. "<base name>.<ext>.spv", SPIR-V compiled at build time;
//   2. "<base name>.<ext>", GLSL compiled now with libshaderc.
// A missing file throws std::runtime_error "Shader not found: <base name>.<ext>".
//
// Source text (FromSource, and CompileGlsl) is compiled with libshaderc. The text may begin with a line
// naming its stage, such as "#rcall" or "#frag"; it is taken out, and the stage it names wins over the
// argument. Text without "#version" gets "#version 460" in front; ray-tracing stages also get
// "#extension GL_EXT_ray_tracing : require". "#include" looks in the folder of the file and in the search
// folders. So "#rcall\nvoid main(){}" is a complete, empty callable shader.
//
// A shader that fails to compile throws std::runtime_error "Shader compilation failed: <file or name>:
// <the compiler's message>", where the message is the compiler's own text with line numbers.
//
// Without a device the module is not made; the SPIR-V is still compiled (errors throw the same) and kept,
// so compile errors show on any machine.

#include <vulkan/vulkan.h>

#include <cstdint>
#include <string>
#include <vector>

namespace vesmo::vk {

class Device;

class Shader {
public:
    Shader() = default;
    // Loads "<baseName>.<stage's extension>[.spv]" as described above.
    Shader(Device* device, const std::string& baseName, VkShaderStageFlagBits stage);
    // Compiles `source`; `name` names it in messages.
    static Shader FromSource(Device* device, const std::string& source, VkShaderStageFlagBits stage,
                             const std::string& name = "source");
    // From SPIR-V words.
    Shader(Device* device, std::vector<uint32_t> spirv, VkShaderStageFlagBits stage, const std::string& name);
    ~Shader();

    Shader(Shader&& other) noexcept;
    Shader& operator=(Shader&& other) noexcept;
    Shader(const Shader&) = delete;
    Shader& operator=(const Shader&) = delete;

    VkShaderModule Handle() const { return _module; }
    VkShaderStageFlagBits Stage() const { return _stage; }
    const std::vector<uint32_t>& Spirv() const { return _spirv; }
    const std::string& Name() const { return _name; }
    // VkPipelineShaderStageCreateInfo with entry point "main".
    VkPipelineShaderStageCreateInfo StageInfo() const;
    void Destroy();

    // GLSL text to SPIR-V, as described above. `stage` is used when the text names none.
    static std::vector<uint32_t> CompileGlsl(const std::string& source, VkShaderStageFlagBits stage,
                                             const std::string& name);
    // ".vert" for VK_SHADER_STAGE_VERTEX_BIT and so on; throws for a stage without one.
    static const char* Extension(VkShaderStageFlagBits stage);
    // Folders searched for shader files, in order. Any thread, before shaders are loaded.
    static void AddSearchPath(const std::string& folder);
    static std::vector<std::string> SearchPaths();
    // True when "<baseName>.<ext>" (or its .spv) exists in a search folder.
    static bool Exists(const std::string& baseName, VkShaderStageFlagBits stage);

private:
    Device* _device = nullptr;
    VkShaderModule _module = VK_NULL_HANDLE;
    VkShaderStageFlagBits _stage = VK_SHADER_STAGE_VERTEX_BIT;
    std::vector<uint32_t> _spirv;
    std::string _name;
};

} // namespace vesmo::vk
