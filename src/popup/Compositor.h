#pragma once

// Whether windows can be see-through on this desktop. Without a compositing
// manager, transparent pixels show as garbage or black, so the popup then
// paints an opaque panel instead.
namespace Compositor {

bool isRunning();

} // namespace Compositor
