#include "cls/cls_Static.h"

template class thr_ThreadSingletonBase<cls_Static>;
template class thr_ThreadSingleton<cls_Static>;

cls_Static::cls_Static() : m_Uid(nullptr), m_IntCOW(nullptr) {}

cls_Static::~cls_Static() = default;

cls_Static& cls_Static::Instance() { return thr_ThreadSingleton<cls_Static>::Instance(); }
