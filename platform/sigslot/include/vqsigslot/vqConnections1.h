#pragma once

// The connection kinds of a one-argument signal.

#include <functional>
#include <utility>

#include <boost/weak_ptr.hpp>

#include <vqsigslot/vqConnection.h>
#include <vqsigslot/vqListener.h>
#include <vqsigslot/vqThreadPolicy.h>

template <class R, class A>
class _vqConnection1 : public vqConnection {
 public:
  // The argument arrives by value: every receiver gets its own copy.
  virtual R Emit(A arg) = 0;
};

// A listener object and one of its member functions.
template <class Listener, class R, class A, class MT = single_threaded>
class _vqListenerConnection1 final : public _vqConnection1<R, A> {
 public:
  using Method = R (Listener::*)(A);
  _vqListenerConnection1(Listener* listener, Method method) : m_listener(listener), m_method(method) {}
  R Emit(A arg) override { return (m_listener->*m_method)(std::move(arg)); }
  vqListenerBase* GetListener() const override { return m_listener; }
  Listener* GetListenerObject() const { return m_listener; }

 private:
  Listener* m_listener;
  Method m_method;
};

// For script bindings: a callable with no owner, connected until it is
// disconnected through the pointer the signal returned.
template <class R, class A, class MT = single_threaded>
class _vqScriptGlobalConnection1 final : public _vqConnection1<R, A> {
 public:
  explicit _vqScriptGlobalConnection1(std::function<R(A)> callable) : m_callable(std::move(callable)) {}
  R Emit(A arg) override { return m_callable(std::move(arg)); }

 private:
  std::function<R(A)> m_callable;
};

// For script bindings: a callable whose lifetime is bounded by a listener.
template <class R, class A, class MT = single_threaded>
class _vqScriptListenerConnection1 final : public _vqConnection1<R, A> {
 public:
  _vqScriptListenerConnection1(vqListenerBase* listener, std::function<R(A)> callable)
      : m_listener(listener), m_callable(std::move(callable)) {}
  R Emit(A arg) override { return m_callable(std::move(arg)); }
  vqListenerBase* GetListener() const override { return m_listener; }

 private:
  vqListenerBase* m_listener;
  std::function<R(A)> m_callable;
};

// For script bindings: a callable tied to an object that is not a listener
// and is tracked weakly; once the object is gone the connection is skipped
// and removed.
template <class R, class A, class MT = single_threaded>
class _vqScriptNonListenerConnection1 final : public _vqConnection1<R, A> {
 public:
  _vqScriptNonListenerConnection1(boost::weak_ptr<void> tracked, std::function<R(A)> callable)
      : m_tracked(std::move(tracked)), m_callable(std::move(callable)) {}
  R Emit(A arg) override { return m_callable(std::move(arg)); }
  bool IsExpired() const override { return m_tracked.expired(); }

 private:
  boost::weak_ptr<void> m_tracked;
  std::function<R(A)> m_callable;
};
