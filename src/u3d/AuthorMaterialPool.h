#pragma once
// Materials of a U3D file by name; the first of a name stays.

#include <array>
#include <map>
#include <string>

namespace Velmora::U3D {

struct AuthorMaterial {
    std::array<float, 4> ambient{}, diffuse{}, specular{}, emissive{};
    float reflectivity = 0.0f;
    float opacity = 1.0f;
};

class AuthorMaterialPool {
public:
    // False (logged) for an empty name or a duplicate.
    bool AddMaterial(const std::string& name, const AuthorMaterial& material);
    const AuthorMaterial* FindMaterial(const std::string& name) const;
    const std::map<std::string, AuthorMaterial>& Materials() const { return materials_; }

private:
    std::map<std::string, AuthorMaterial> materials_;
};

}  // namespace Velmora::U3D
