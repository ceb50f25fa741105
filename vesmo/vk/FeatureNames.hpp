#pragma once
// Member names of the feature structures, for messages (PhysicalDevice.cpp).

namespace vesmo::vk::detail {

extern const char* const featuresNames[];
extern const unsigned featuresCount;
extern const char* const shaderClockNames[];
extern const unsigned shaderClockCount;
extern const char* const storage16BitNames[];
extern const unsigned storage16BitCount;
extern const char* const vulkan12Names[];
extern const unsigned vulkan12Count;
extern const char* const rayTracingPipelineNames[];
extern const unsigned rayTracingPipelineCount;
extern const char* const accelerationStructureNames[];
extern const unsigned accelerationStructureCount;
extern const char* const rayQueryNames[];
extern const unsigned rayQueryCount;
extern const char* const vulkan13Names[];
extern const unsigned vulkan13Count;

} // namespace vesmo::vk::detail
