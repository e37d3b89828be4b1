// Says once per process, on standard error, why the radio cannot work. errno is kept.
#ifndef RADIO_COMPLAINT_H_
#define RADIO_COMPLAINT_H_

namespace radio {

void Complain(const char* what, const char* which, const char* why);

}  // namespace radio

#endif  // RADIO_COMPLAINT_H_
