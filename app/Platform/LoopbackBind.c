/* Preloaded into the app when `tailwise run` serves it over Qt's VNC platform. That platform
 * listens on every interface and has no option to choose one; this moves wildcard binds to
 * the loopback address, so the screen is reachable from this machine only. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <netinet/in.h>
#include <string.h>
#include <sys/socket.h>

typedef int (*bind_fn)(int, const struct sockaddr *, socklen_t);

int bind(int fd, const struct sockaddr *address, socklen_t length)
{
    static bind_fn real_bind;
    if (!real_bind)
        real_bind = (bind_fn)dlsym(RTLD_NEXT, "bind");

    if (address && address->sa_family == AF_INET && length >= sizeof(struct sockaddr_in)) {
        struct sockaddr_in local;
        memcpy(&local, address, sizeof local);
        if (local.sin_addr.s_addr == htonl(INADDR_ANY)) {
            local.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
            return real_bind(fd, (const struct sockaddr *)&local, sizeof local);
        }
    }
    if (address && address->sa_family == AF_INET6 && length >= sizeof(struct sockaddr_in6)) {
        struct sockaddr_in6 local;
        memcpy(&local, address, sizeof local);
        if (IN6_IS_ADDR_UNSPECIFIED(&local.sin6_addr)) {
            /* A dual-stack wildcard socket: ::ffff:127.0.0.1 keeps IPv4 clients working. */
            static const unsigned char mapped_loopback[16] = {0, 0, 0,    0,    0,   0, 0, 0,
                                                              0, 0, 0xff, 0xff, 127, 0, 0, 1};
            memcpy(&local.sin6_addr, mapped_loopback, sizeof mapped_loopback);
            return real_bind(fd, (const struct sockaddr *)&local, sizeof local);
        }
    }
    return real_bind(fd, address, length);
}
