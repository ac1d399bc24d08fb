#include "kesu/common/base/global_static_pointer.h"

#include <pthread.h>

#include "kesu/common/base/memory.h"

namespace common_base {
namespace {

pthread_key_t table_key;
pthread_once_t table_key_once = PTHREAD_ONCE_INIT;

void MakeTableKey() {
  pthread_key_create(&table_key, &GFree);
}

}  // namespace

void** GlobalStaticPointer(int index) {
  pthread_once(&table_key_once, &MakeTableKey);
  void** table = static_cast<void**>(pthread_getspecific(table_key));
  if (table == nullptr) {
    constexpr unsigned kTableSize = kGlobalStaticPointerCount * sizeof(void*);
    table = static_cast<void**>(GAlloc(kTableSize));
    GMemset(table, 0, kTableSize);
    pthread_setspecific(table_key, table);
  }
  return table + index;
}

}  // namespace common_base
