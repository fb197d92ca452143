#pragma once
// The arcball behind mouse rotation. A drag is read as two points on a virtual sphere centred
// in the viewport; the rotation that carries one point to the other is applied to the camera.
//
// Sphere coordinates follow the window: x to the right, y downwards (window rows), z towards
// the viewer. The sphere's radius is in pixels.

#include "rendering/MathUtil.h"

namespace Velmora::Rendering::Arcball {

// Maps the window point (x, y) onto the unit sphere. A point outside the sphere's outline is
// pulled onto the rim (z = 0).
Vec3 MapToSphere(float x, float y, float width, float height, float radiusPixels);

// Axis (unit, sphere coordinates) and angle in degrees of the rotation from a towards b, as
// axis = normalize(cross(a, b)), angle = acos(min(dot(a, b), 1)). False when a equals b or
// the two are parallel, i.e. when there is nothing to turn.
bool RotationBetween(const Vec3& a, const Vec3& b, Vec3& axis, float& angleDegrees);

// Model matrix of the crosshair marker for a sphere point. The marker mesh is two arcs of a
// unit circle centred at (0, 0, -1) that meet at the origin; the matrix moves that meeting
// point onto the sphere point and turns the arcs to lie on the sphere, flips window y and z
// into clip space and applies the aspect-corrected scale of the sphere outline.
Mat4 CrosshairMatrix(const Vec3& spherePoint, float scaleX, float scaleY);

}  // namespace Velmora::Rendering::Arcball
