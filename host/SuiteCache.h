// The per-command access to the host's services. Made from in_data->pica_basicP; a host that
// gave no services makes construction throw PF_Err_BAD_CALLBACK_PARAM, which the entry catches.
#pragma once

#include "host/HostServices.h"

namespace tv {

class SuiteCache {
  public:
    explicit SuiteCache(const PF_InData* in_data)
        : host_(in_data ? in_data->pica_basicP : nullptr) {
        if (!host_) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    }
    HostServices& host() const { return *host_; }
    HostServices* operator->() const { return host_; }

  private:
    HostServices* host_;
};

}  // namespace tv
