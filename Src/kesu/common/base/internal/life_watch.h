#ifndef KESU_COMMON_BASE_INTERNAL_LIFE_WATCH_H_
#define KESU_COMMON_BASE_INTERNAL_LIFE_WATCH_H_

namespace common_base {

/// Tells a member function that calls out whether its object was destroyed meanwhile:
///
///   const LifeWatch::Scope scope(&life_);
///   requester->OnRequestComplete(this);
///   if (scope.IsOver()) return;
///
/// where `life_` is a member of the object. Scopes may be nested, in nested calls.
class LifeWatch {
 public:
  LifeWatch() = default;
  LifeWatch(const LifeWatch&) = delete;
  LifeWatch& operator=(const LifeWatch&) = delete;
  ~LifeWatch() {
    for (Scope* scope = innermost_; scope != nullptr; scope = scope->outer_) scope->life_ = nullptr;
  }

  class Scope {
   public:
    // Where g++ inlines the end of a scope, it does not see that what is kept here is taken back.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdangling-pointer"
#endif
    explicit Scope(LifeWatch* life) : life_(life), outer_(life->innermost_) {
      life->innermost_ = this;
    }
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;
    ~Scope() {
      if (life_ != nullptr) life_->innermost_ = outer_;
    }

    bool IsOver() const {
      return life_ == nullptr;
    }

   private:
    friend class LifeWatch;

    LifeWatch* life_;
    Scope* outer_;
  };

 private:
  Scope* innermost_ = nullptr;
};

}  // namespace common_base

#endif  // KESU_COMMON_BASE_INTERNAL_LIFE_WATCH_H_
