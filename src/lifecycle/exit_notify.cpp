#include "base/exit_notify.h"

#include "lifecycle/exit_lists.h"

void AddExitCallBack(ExitCallBackFunc callback, void* param) {
  base::ExitCallBacks.Set(callback, param);
}

void RemoveExitCallBack(ExitCallBackFunc callback) {
  base::ExitCallBacks.Erase(callback);
}

void NotifyExit() {
  base::ExitCallBacks.Fire();
}

void AddExitSaveDataCallBack(ExitCallBackFunc callback, void* param) {
  base::ExitSaveDataCallBacks.Set(callback, param);
}

void RemoveExitSaveDataCallBack(ExitCallBackFunc callback) {
  base::ExitSaveDataCallBacks.Erase(callback);
}

void NotifySaveDataBeforeExit() {
  base::ExitSaveDataCallBacks.Fire();
}
