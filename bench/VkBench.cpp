// The engine's device face on the machine's Vulkan device (lavapipe in CI): an empty frame, uploads, and
// the memory sub-allocator, each beside its plain peer (the frame without a device, memcpy, malloc).

#include "AllocationCounter.hpp"

#include "vesmo/renderer/VesmoRenderer.hpp"
#include "vesmo/vk/BlockRanges.hpp"
#include "vesmo/vk/Vk.hpp"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

namespace {

using vesmo::graphics::VulkanRenderer;
using vesmo::renderer::VesmoRenderer;

// One renderer for the program: making a device costs far more than anything measured here.
VesmoRenderer* Renderer() {
    static std::unique_ptr<VesmoRenderer> renderer = [] {
        try {
            auto made = std::make_unique<VesmoRenderer>(nullptr, "bench", VulkanRenderer::DEVICE,
                                                        vesmo::vk::PhysicalDevice::Features{}, false);
            made->StartRendering();
            return made;
        } catch (const vesmo::vk::NoDeviceError&) {
            return std::unique_ptr<VesmoRenderer>();
        }
    }();
    return renderer.get();
}

// The frame chain with nothing in it, at 1280 x 720: clearing the output image, the descriptor set, the
// render block, submission, and waiting for the frame slot. Real time is the frame time; CPU time is the
// render thread's own (lavapipe draws on threads of its own).
void BM_EmptyFrame1280x720(benchmark::State& state) {
    VesmoRenderer* renderer = Renderer();
    if (!renderer) {
        state.SkipWithError("no usable Vulkan device");
        return;
    }
    for (int i = 0; i < 20; ++i)
        renderer->Frame();
    AllocationCounter::Reset();
    for (auto _ : state)
        renderer->Frame();
    state.counters["allocs/frame"] = benchmark::Counter(AllocationCounter::Count(), benchmark::Counter::kAvgIterations);
}
BENCHMARK(BM_EmptyFrame1280x720)->Unit(benchmark::kMillisecond)->UseRealTime();

// The same chain without a device: what the frame costs the CPU before Vulkan.
void BM_EmptyFrameWithoutDevice(benchmark::State& state) {
    VesmoRenderer renderer(nullptr, "bench", 0);
    renderer.StartRendering();
    for (int i = 0; i < 20; ++i)
        renderer.Frame();
    AllocationCounter::Reset();
    for (auto _ : state)
        renderer.Frame();
    state.counters["allocs/frame"] = benchmark::Counter(AllocationCounter::Count(), benchmark::Counter::kAvgIterations);
}
BENCHMARK(BM_EmptyFrameWithoutDevice);

constexpr size_t UploadBytes = 64u << 20;

std::vector<char>& Source() {
    static std::vector<char> bytes = [] {
        std::vector<char> b(UploadBytes);
        for (size_t i = 0; i < b.size(); ++i)
            b[i] = static_cast<char>(i * 31);
        return b;
    }();
    return bytes;
}

// 64 MiB into a device-local buffer: staging copy, a transfer on the queue, and the wait.
void BM_Upload64MiBDeviceLocal(benchmark::State& state) {
    VesmoRenderer* renderer = Renderer();
    if (!renderer) {
        state.SkipWithError("no usable Vulkan device");
        return;
    }
    vesmo::vk::Buffer buffer(renderer->GetDevice(), UploadBytes, VK_BUFFER_USAGE_STORAGE_BUFFER_BIT,
                             VMA_MEMORY_USAGE_GPU_ONLY, 0, "bench upload");
    for (auto _ : state)
        buffer.Upload(Source().data(), UploadBytes);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * UploadBytes));
}
BENCHMARK(BM_Upload64MiBDeviceLocal)->Unit(benchmark::kMillisecond)->UseRealTime();

// 64 MiB into a buffer with a persistent map: Upload is a memcpy into device memory the host sees.
void BM_Upload64MiBMapped(benchmark::State& state) {
    VesmoRenderer* renderer = Renderer();
    if (!renderer) {
        state.SkipWithError("no usable Vulkan device");
        return;
    }
    vesmo::vk::Buffer buffer(renderer->GetDevice(), UploadBytes, VK_BUFFER_USAGE_STORAGE_BUFFER_BIT,
                             VMA_MEMORY_USAGE_AUTO_PREFER_DEVICE, 0, "bench mapped", true);
    for (auto _ : state)
        buffer.Upload(Source().data(), UploadBytes);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * UploadBytes));
}
BENCHMARK(BM_Upload64MiBMapped)->Unit(benchmark::kMillisecond)->UseRealTime();

// The peer: a plain memcpy of the same bytes into host memory.
void BM_Memcpy64MiB(benchmark::State& state) {
    std::vector<char> target(UploadBytes);
    for (auto _ : state) {
        std::memcpy(target.data(), Source().data(), UploadBytes);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * UploadBytes));
}
BENCHMARK(BM_Memcpy64MiB)->Unit(benchmark::kMillisecond)->UseRealTime();

// 1024 pieces of 64 to 4096 bytes, 16-byte aligned, allocated and then freed in a shuffled order.
struct Workload {
    std::vector<uint64_t> sizes;
    std::vector<uint32_t> freeOrder;
    Workload() {
        std::mt19937 random(3);
        for (int i = 0; i < 1024; ++i)
            sizes.push_back(64 + random() % 4033);
        for (uint32_t i = 0; i < 1024; ++i)
            freeOrder.push_back(i);
        std::shuffle(freeOrder.begin(), freeOrder.end(), random);
    }
};

void BM_SubAllocateFree1024(benchmark::State& state) {
    static const Workload work;
    vesmo::vk::BlockRanges block(vesmo::vk::MemoryAllocator::BlockSize);
    std::vector<uint64_t> offsets(work.sizes.size());
    for (auto _ : state) {
        for (size_t i = 0; i < work.sizes.size(); ++i)
            offsets[i] = block.Allocate(work.sizes[i], 16);
        for (uint32_t i : work.freeOrder)
            block.Free(offsets[i], work.sizes[i]);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * work.sizes.size()));
}
BENCHMARK(BM_SubAllocateFree1024);

void BM_MallocFree1024(benchmark::State& state) {
    static const Workload work;
    std::vector<void*> pointers(work.sizes.size());
    for (auto _ : state) {
        for (size_t i = 0; i < work.sizes.size(); ++i)
            pointers[i] = std::malloc(work.sizes[i]);
        benchmark::DoNotOptimize(pointers.data());
        for (uint32_t i : work.freeOrder)
            std::free(pointers[i]);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * work.sizes.size()));
}
BENCHMARK(BM_MallocFree1024);

// A whole buffer of 256 bytes made and released on the device: VkBuffer, a piece of a block, its address.
void BM_DeviceBufferMakeRelease256(benchmark::State& state) {
    VesmoRenderer* renderer = Renderer();
    if (!renderer) {
        state.SkipWithError("no usable Vulkan device");
        return;
    }
    vesmo::vk::Buffer keep(renderer->GetDevice(), 256, VK_BUFFER_USAGE_STORAGE_BUFFER_BIT,
                           VMA_MEMORY_USAGE_AUTO_PREFER_DEVICE, 16, "", true); // the block stays
    for (auto _ : state) {
        vesmo::vk::Buffer buffer(renderer->GetDevice(), 256, VK_BUFFER_USAGE_STORAGE_BUFFER_BIT,
                                 VMA_MEMORY_USAGE_AUTO_PREFER_DEVICE, 16, "", true);
        benchmark::DoNotOptimize(buffer.DeviceAddress());
    }
}
BENCHMARK(BM_DeviceBufferMakeRelease256);

} // namespace
