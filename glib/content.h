#ifndef GLIB_CONTENT_H_
#define GLIB_CONTENT_H_

#include <memory>
#include <new>
#include <utility>

#include <glib-object.h>

/// A value of C++ as the last member, `content`, of an object. GObject hands out zeroed memory and
/// knows no constructors.
namespace kesu_glib {

template <typename Object>
void ConstructContent(Object* object) {
  new (&object->content) decltype(object->content)();
}

template <typename Object>
void DestroyContent(GObject* base) {
  std::destroy_at(&reinterpret_cast<Object*>(base)->content);
}

/// An object of this type with this content.
template <typename Object, typename Content>
Object* NewObject(GType type, Content&& content) {
  auto* object = static_cast<Object*>(g_object_new(type, nullptr));
  object->content = std::forward<Content>(content);
  return object;
}

}  // namespace kesu_glib

/// Defines the type of an object without properties whose struct ends with `content`.
#define KESU_DEFINE_CONTENT_TYPE(TypeName, type_name)           \
  G_DEFINE_FINAL_TYPE(TypeName, type_name, G_TYPE_OBJECT)       \
  static void type_name##_init(TypeName* self) {                \
    kesu_glib::ConstructContent(self);                          \
  }                                                             \
  static void type_name##_class_init(TypeName##Class* type) {   \
    G_OBJECT_CLASS(type)->finalize = [](GObject* self) {        \
      kesu_glib::DestroyContent<TypeName>(self);                \
      G_OBJECT_CLASS(type_name##_parent_class)->finalize(self); \
    };                                                          \
  }

#endif  // GLIB_CONTENT_H_
