// A library that has its work done by a queue and is unloaded as soon as its function has returned.
#include <QVSharedSupport/thread_queue.h>

#include <future>

#include <windows.h>

extern "C" __declspec(dllexport) HANDLE use_queue() {
    HANDLE worker = nullptr;
    std::promise<void> started;
    QV::SharedSupport::thread_queue queue("short lived", false);
    queue.push_async([&] {
        DuplicateHandle(GetCurrentProcess(), GetCurrentThread(), GetCurrentProcess(), &worker, SYNCHRONIZE,
                        FALSE, 0);
        started.set_value();
    });
    started.get_future().wait();
    queue.push_sync([] {}); // from here on no task of this module is left; the worker may well be
    return worker;
}
