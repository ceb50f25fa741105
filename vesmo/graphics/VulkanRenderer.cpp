#include "vesmo/graphics/VulkanRenderer.hpp"

#include "vesmo/core/Assert.hpp"
#include "vesmo/graphics/GlfwWindow.hpp"
#include "vesmo/graphics/Window.hpp"
#include "vesmo/vk/Vk.hpp"

#include <cstdio>

namespace vesmo::graphics {

namespace {

constexpr VkImageUsageFlags OutputUsage = vk::Swapchain::DefaultUsage | VK_IMAGE_USAGE_SAMPLED_BIT;

} // namespace

VulkanRenderer::VulkanRenderer(Window* window, const char* name, uint32_t flags,
                               const vk::PhysicalDevice::Features& features, bool vsync_)
    : vsync(vsync_), _window(window), _name(name ? name : ""), _flags(flags) {
    if (!(flags & DEVICE))
        return;
    vk::Device::Options options;
    options.applicationName = _name;
    options.validation = (flags & VALIDATION) != 0;
    options.features = features;
    auto instance = std::make_shared<vk::Instance>(_name, options.validation);
    auto* glfwWindow = dynamic_cast<GlfwWindow*>(window);
    if (glfwWindow && !(flags & OFFSCREEN))
        _surface = vk::Swapchain::CreateSurface(instance->Handle(), glfwWindow->Handle());
    try {
        options.presentation = _surface != VK_NULL_HANDLE;
        _device = std::make_unique<vk::Device>(instance, options, _surface);
    } catch (...) {
        if (_surface)
            vkDestroySurfaceKHR(instance->Handle(), _surface, nullptr);
        throw;
    }
    std::printf("Vulkan: %s on %s\n", _surface ? "presenting" : "offscreen", _device->Physical().Name().c_str());
    std::fflush(stdout);
    vk::Device::SetCurrent(_device.get());

    VkDevice device = _device->Handle();
    for (FrameSlot& slot : _slots) {
        VkCommandPoolCreateInfo pool{VK_STRUCTURE_TYPE_COMMAND_POOL_CREATE_INFO};
        pool.flags = VK_COMMAND_POOL_CREATE_TRANSIENT_BIT;
        pool.queueFamilyIndex = _device->QueueFamily();
        vk::Check(vkCreateCommandPool(device, &pool, nullptr, &slot.pool), "vkCreateCommandPool");
        VkCommandBufferAllocateInfo allocate{VK_STRUCTURE_TYPE_COMMAND_BUFFER_ALLOCATE_INFO};
        allocate.commandPool = slot.pool;
        allocate.level = VK_COMMAND_BUFFER_LEVEL_PRIMARY;
        allocate.commandBufferCount = 1;
        vk::Check(vkAllocateCommandBuffers(device, &allocate, &slot.commands), "vkAllocateCommandBuffers");
        VkFenceCreateInfo fence{VK_STRUCTURE_TYPE_FENCE_CREATE_INFO};
        fence.flags = VK_FENCE_CREATE_SIGNALED_BIT;
        vk::Check(vkCreateFence(device, &fence, nullptr, &slot.done), "vkCreateFence");
        VkSemaphoreCreateInfo semaphore{VK_STRUCTURE_TYPE_SEMAPHORE_CREATE_INFO};
        vk::Check(vkCreateSemaphore(device, &semaphore, nullptr, &slot.acquired), "vkCreateSemaphore");
    }
    CreateOutput();
    LoadFunctionPointersInterface();
}

VulkanRenderer::~VulkanRenderer() {
    if (!_device)
        return;
    _device->WaitIdle();
    DestroyOutput();
    _swapchain.reset();
    for (FrameSlot& slot : _slots) {
        vkDestroyCommandPool(_device->Handle(), slot.pool, nullptr);
        vkDestroyFence(_device->Handle(), slot.done, nullptr);
        vkDestroySemaphore(_device->Handle(), slot.acquired, nullptr);
    }
    VkInstance instance = _device->InstanceHandle();
    std::shared_ptr<vk::Instance> keep = _device->GetInstance();
    _device.reset();
    if (_surface)
        vkDestroySurfaceKHR(instance, _surface, nullptr);
}

VkExtent2D VulkanRenderer::WantedExtent() const {
    if (!_window)
        return {DefaultWidth, DefaultHeight};
    const int w = _window->width.load(), h = _window->height.load();
    // A window that never said its size (a headless one left at 0 x 0) renders at the default size.
    if (w <= 0 && h <= 0 && !_surface)
        return {DefaultWidth, DefaultHeight};
    return {static_cast<uint32_t>(w > 0 ? w : 0), static_cast<uint32_t>(h > 0 ? h : 0)};
}

void VulkanRenderer::CreateOutput() {
    VkExtent2D extent = WantedExtent();
    VkFormat format = VK_FORMAT_B8G8R8A8_UNORM;
    if (_surface) {
        std::unique_ptr<vk::Swapchain> old = std::move(_swapchain);
        _swapchain = std::make_unique<vk::Swapchain>(_device.get(), _surface, extent.width, extent.height, vsync,
                                                     vk::Swapchain::DefaultUsage, old.get());
        old.reset();
        extent = _swapchain->GetExtent();
        format = _swapchain->GetFormat();
        VkSemaphoreCreateInfo info{VK_STRUCTURE_TYPE_SEMAPHORE_CREATE_INFO};
        _presentReady.resize(_swapchain->ImageCount());
        for (VkSemaphore& semaphore : _presentReady)
            vk::Check(vkCreateSemaphore(_device->Handle(), &info, nullptr, &semaphore), "vkCreateSemaphore");
    }
    _outputExtent = extent;
    if (extent.width == 0 || extent.height == 0)
        return;
    _output =
        std::make_unique<vk::Image>(_device.get(), extent.width, extent.height, format, OutputUsage, "Output image");
    _outputView = std::make_unique<vk::ImageView>(_device.get(), *_output, "Output image view");
    // In GENERAL from the start, where the frame's steps expect it.
    vk::CommandBuffer::Run(_device.get(), "Output image layout", [&](VkCommandBuffer commandBuffer) {
        _output->Transition(commandBuffer, VK_IMAGE_LAYOUT_GENERAL);
    });
}

void VulkanRenderer::DestroyOutput() {
    _outputView.reset();
    _output.reset();
    for (VkSemaphore semaphore : _presentReady)
        vkDestroySemaphore(_device->Handle(), semaphore, nullptr);
    _presentReady.clear();
}

void VulkanRenderer::WaitIdle() {
    if (_device)
        _device->WaitIdle();
}

void VulkanRenderer::CreateSwapchainDependantObjects() {}
void VulkanRenderer::DestroySwapchainDependantObjects() {}

void VulkanRenderer::ReCreateSwapchain() {
    WaitIdle();
    DestroySwapchainDependantObjects();
    if (_device) {
        DestroyOutput();
        CreateOutput(); // keeps the old swapchain until the new one exists
    }
    CreateSwapchainDependantObjects();
    RefreshViewport();
    _outOfDate = false;
}

vk::Image* VulkanRenderer::GetOutputImage() { return _output.get(); }

VkExtent2D VulkanRenderer::GetOutputImageExtent() { return _device ? _outputExtent : WantedExtent(); }

VkFormat VulkanRenderer::GetOutputImageFormat() {
    return _output ? _output->Format() : (_swapchain ? _swapchain->GetFormat() : VK_FORMAT_B8G8R8A8_UNORM);
}

VkImageUsageFlags VulkanRenderer::GetOutputImageUsage() { return OutputUsage; }

VkImage VulkanRenderer::GetOutputVkImage() { return _output ? _output->Handle() : VK_NULL_HANDLE; }

VkImageView VulkanRenderer::GetOutputVkImageView() { return _outputView ? _outputView->Handle() : VK_NULL_HANDLE; }

void VulkanRenderer::StartRendering() {
    CreateSwapchainDependantObjects();
    _rendering = true;
}

void VulkanRenderer::StopRendering() {
    _rendering = false;
    WaitIdle();
    DestroySwapchainDependantObjects();
}

uint32_t VulkanRenderer::ValidationMessageCount() const { return _device ? _device->ValidationMessageCount() : 0; }

bool VulkanRenderer::BeginFrame() {
    if (!_device)
        return true;
    const VkExtent2D wanted = WantedExtent();
    if (_outOfDate || (!_surface && (wanted.width != _outputExtent.width || wanted.height != _outputExtent.height)))
        ReCreateSwapchain();
    if (_surface && _outputExtent.width == 0) {
        // Minimised: try again when the window has a size.
        if (wanted.width == 0 || wanted.height == 0)
            return false;
        ReCreateSwapchain();
        if (_outputExtent.width == 0)
            return false;
    }
    if (!_output)
        return false;

    FrameSlot& slot = _slots[_frameIndex];
    vk::Check(vkWaitForFences(_device->Handle(), 1, &slot.done, VK_TRUE, UINT64_MAX), "vkWaitForFences");
    if (_swapchain && !_swapchain->Acquire(slot.acquired, &_imageIndex)) {
        ReCreateSwapchain();
        if (!_swapchain || !_output || !_swapchain->Acquire(slot.acquired, &_imageIndex)) {
            _outOfDate = true;
            return false;
        }
    }
    vk::Check(vkResetFences(_device->Handle(), 1, &slot.done), "vkResetFences");
    vk::Check(vkResetCommandPool(_device->Handle(), slot.pool, 0), "vkResetCommandPool");
    VkCommandBufferBeginInfo begin{VK_STRUCTURE_TYPE_COMMAND_BUFFER_BEGIN_INFO};
    begin.flags = VK_COMMAND_BUFFER_USAGE_ONE_TIME_SUBMIT_BIT;
    vk::Check(vkBeginCommandBuffer(slot.commands, &begin), "vkBeginCommandBuffer");
    _recording = slot.commands;
    return true;
}

void VulkanRenderer::EndFrame(const std::function<void(VkCommandBuffer)>& record,
                              const std::vector<VkSemaphore>& waitSemaphores,
                              const std::vector<VkSemaphore>& signalSemaphores) {
    if (!_device) {
        if (record)
            record(VK_NULL_HANDLE);
        ++_frames;
        return;
    }
    VESMO_ASSERT(_recording);
    FrameSlot& slot = _slots[_frameIndex];
    VkCommandBuffer commandBuffer = slot.commands;
    if (record)
        record(commandBuffer);

    if (_swapchain) {
        // The output image goes to the swapchain's image: one copy, the same format and size.
        VkImage target = _swapchain->Image(_imageIndex);
        VkImageMemoryBarrier2 barriers[2]{};
        barriers[0] = {VK_STRUCTURE_TYPE_IMAGE_MEMORY_BARRIER_2};
        barriers[0].srcStageMask = VK_PIPELINE_STAGE_2_ALL_COMMANDS_BIT;
        barriers[0].srcAccessMask = VK_ACCESS_2_MEMORY_WRITE_BIT;
        barriers[0].dstStageMask = VK_PIPELINE_STAGE_2_COPY_BIT;
        barriers[0].dstAccessMask = VK_ACCESS_2_TRANSFER_READ_BIT;
        barriers[0].oldLayout = VK_IMAGE_LAYOUT_GENERAL;
        barriers[0].newLayout = VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL;
        barriers[0].srcQueueFamilyIndex = barriers[0].dstQueueFamilyIndex = VK_QUEUE_FAMILY_IGNORED;
        barriers[0].image = _output->Handle();
        barriers[0].subresourceRange = {VK_IMAGE_ASPECT_COLOR_BIT, 0, 1, 0, 1};
        barriers[1] = barriers[0];
        // The acquire semaphore waits at the copy stage; the image's old content doesn't matter.
        barriers[1].srcStageMask = VK_PIPELINE_STAGE_2_COPY_BIT;
        barriers[1].srcAccessMask = 0;
        barriers[1].dstAccessMask = VK_ACCESS_2_TRANSFER_WRITE_BIT;
        barriers[1].oldLayout = VK_IMAGE_LAYOUT_UNDEFINED;
        barriers[1].newLayout = VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL;
        barriers[1].image = target;
        VkDependencyInfo dependency{VK_STRUCTURE_TYPE_DEPENDENCY_INFO};
        dependency.imageMemoryBarrierCount = 2;
        dependency.pImageMemoryBarriers = barriers;
        vkCmdPipelineBarrier2(commandBuffer, &dependency);
        VkImageCopy region{};
        region.srcSubresource = {VK_IMAGE_ASPECT_COLOR_BIT, 0, 0, 1};
        region.dstSubresource = region.srcSubresource;
        region.extent = {_outputExtent.width, _outputExtent.height, 1};
        vkCmdCopyImage(commandBuffer, _output->Handle(), VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL, target,
                       VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL, 1, &region);
        // The swapchain image to be shown, the output image back to GENERAL for the next frame.
        VkImageMemoryBarrier2 after[2] = {barriers[1], barriers[0]};
        after[0].srcStageMask = VK_PIPELINE_STAGE_2_COPY_BIT;
        after[0].srcAccessMask = VK_ACCESS_2_TRANSFER_WRITE_BIT;
        after[0].dstStageMask = VK_PIPELINE_STAGE_2_NONE;
        after[0].dstAccessMask = 0;
        after[0].oldLayout = VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL;
        after[0].newLayout = VK_IMAGE_LAYOUT_PRESENT_SRC_KHR;
        after[1].srcStageMask = VK_PIPELINE_STAGE_2_COPY_BIT;
        after[1].srcAccessMask = 0;
        after[1].dstStageMask = VK_PIPELINE_STAGE_2_ALL_COMMANDS_BIT;
        after[1].dstAccessMask = VK_ACCESS_2_MEMORY_READ_BIT | VK_ACCESS_2_MEMORY_WRITE_BIT;
        after[1].oldLayout = VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL;
        after[1].newLayout = VK_IMAGE_LAYOUT_GENERAL;
        dependency.imageMemoryBarrierCount = 2;
        dependency.pImageMemoryBarriers = after;
        vkCmdPipelineBarrier2(commandBuffer, &dependency);
    }
    vk::Check(vkEndCommandBuffer(commandBuffer), "vkEndCommandBuffer");

    // Fixed arrays: a frame allocates nothing.
    constexpr uint32_t MaxSemaphores = 8;
    VESMO_ASSERT(waitSemaphores.size() < MaxSemaphores && signalSemaphores.size() < MaxSemaphores);
    VkSemaphoreSubmitInfo waits[MaxSemaphores]{};
    VkSemaphoreSubmitInfo signals[MaxSemaphores]{};
    uint32_t waitCount = 0, signalCount = 0;
    auto add = [](VkSemaphoreSubmitInfo* list, uint32_t& count, VkSemaphore semaphore, VkPipelineStageFlags2 stage) {
        list[count] = {VK_STRUCTURE_TYPE_SEMAPHORE_SUBMIT_INFO};
        list[count].semaphore = semaphore;
        list[count].stageMask = stage;
        ++count;
    };
    if (_swapchain) {
        add(waits, waitCount, slot.acquired, VK_PIPELINE_STAGE_2_COPY_BIT);
        add(signals, signalCount, _presentReady[_imageIndex], VK_PIPELINE_STAGE_2_ALL_COMMANDS_BIT);
    }
    for (VkSemaphore semaphore : waitSemaphores)
        add(waits, waitCount, semaphore, VK_PIPELINE_STAGE_2_ALL_COMMANDS_BIT);
    for (VkSemaphore semaphore : signalSemaphores)
        add(signals, signalCount, semaphore, VK_PIPELINE_STAGE_2_ALL_COMMANDS_BIT);
    VkCommandBufferSubmitInfo commands{VK_STRUCTURE_TYPE_COMMAND_BUFFER_SUBMIT_INFO};
    commands.commandBuffer = commandBuffer;
    VkSubmitInfo2 submit{VK_STRUCTURE_TYPE_SUBMIT_INFO_2};
    submit.waitSemaphoreInfoCount = waitCount;
    submit.pWaitSemaphoreInfos = waits;
    submit.commandBufferInfoCount = 1;
    submit.pCommandBufferInfos = &commands;
    submit.signalSemaphoreInfoCount = signalCount;
    submit.pSignalSemaphoreInfos = signals;
    _device->Submit(submit, slot.done);
    _recording = VK_NULL_HANDLE;

    if (_swapchain && !_swapchain->Present(_imageIndex, _presentReady[_imageIndex]))
        _outOfDate = true;
    // A window whose size changed but whose swapchain still presents (X11 scales it) is made again too.
    if (_swapchain) {
        const VkExtent2D wanted = WantedExtent();
        if (wanted.width != _outputExtent.width || wanted.height != _outputExtent.height)
            _outOfDate = true;
    }
    _frameIndex = (_frameIndex + 1) % FRAMES_IN_FLIGHT;
    ++_frames;
}

} // namespace vesmo::graphics
