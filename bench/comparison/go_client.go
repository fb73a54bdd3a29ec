// Go's net/http: performs one work and prints what it cost as one line of JSON. Options as of
// compare_client; those that concern the plugin alone are passed over.
package main

import (
	"bytes"
	"crypto/tls"
	"crypto/x509"
	"encoding/json"
	"errors"
	"fmt"
	"io"
	"net/http"
	"os"
	"sort"
	"strconv"
	"sync"
	"sync/atomic"
	"syscall"
	"time"
)

type client struct {
	http   http.Client
	url    string
	body   []byte
	wanted int64
}

func optionsOf(words []string) map[string]string {
	options := map[string]string{}
	for i := 0; i+1 < len(words); i += 2 {
		options[words[i]] = words[i+1]
	}
	return options
}

func number(text string) int {
	value, err := strconv.Atoi(text)
	if err != nil {
		fail(err)
	}
	return value
}

func fail(err error) {
	fmt.Fprintln(os.Stderr, "go:", err)
	os.Exit(1)
}

func newClient(options map[string]string) *client {
	connections := number(options["--connections"])
	transport := &http.Transport{MaxIdleConnsPerHost: connections, MaxConnsPerHost: connections}
	scheme := "http"
	if file := options["--authority"]; file != "" {
		pem, err := os.ReadFile(file)
		if err != nil {
			fail(err)
		}
		authorities := x509.NewCertPool()
		authorities.AppendCertsFromPEM(pem)
		transport.TLSClientConfig = &tls.Config{RootCAs: authorities}
		scheme = "https"
	}
	return &client{
		http: http.Client{Transport: transport},
		url: scheme + "://127.0.0.1:" + options["--port"] + "/answer/" +
			options["--response-bytes"] + "/" + options["--delay"],
		body:   bytes.Repeat([]byte("x"), number(options["--request-bytes"])),
		wanted: int64(number(options["--response-bytes"])),
	}
}

func (c *client) exchange() error {
	var answer *http.Response
	var err error
	if len(c.body) > 0 {
		answer, err = c.http.Post(c.url, "application/octet-stream", bytes.NewReader(c.body))
	} else {
		answer, err = c.http.Get(c.url)
	}
	if err != nil {
		return err
	}
	defer answer.Body.Close()
	received, err := io.Copy(io.Discard, answer.Body)
	if err == nil && (answer.StatusCode != 200 || received != c.wanted) {
		err = errors.New("not the answer that was asked for")
	}
	return err
}

// Result: the latencies in microseconds.
func (c *client) perform(count, connections int) []float64 {
	latencies := make([]float64, count)
	var next int64 = -1
	var all sync.WaitGroup
	for i := 0; i < connections; i++ {
		all.Add(1)
		go func() {
			defer all.Done()
			for {
				request := int(atomic.AddInt64(&next, 1))
				if request >= count {
					return
				}
				begin := time.Now()
				if err := c.exchange(); err != nil {
					fail(err)
				}
				latencies[request] = float64(time.Since(begin).Nanoseconds()) / 1e3
			}
		}()
	}
	all.Wait()
	return latencies
}

func usage() syscall.Rusage {
	var usage syscall.Rusage
	if err := syscall.Getrusage(syscall.RUSAGE_SELF, &usage); err != nil {
		fail(err)
	}
	return usage
}

func main() {
	options := optionsOf(os.Args[1:])
	connections := number(options["--connections"])
	count := number(options["--requests"])
	c := newClient(options)
	warmUp := number(options["--warm-up"])
	if warmUp < connections {
		warmUp = connections
	}
	c.perform(warmUp, connections)
	before, begin := usage(), time.Now()
	latencies := c.perform(count, connections)
	seconds, after := time.Since(begin).Seconds(), usage()
	sort.Float64s(latencies)
	percentile := func(share float64) float64 { return latencies[int(share*float64(count-1))] }
	each := func(later, earlier int64) float64 { return float64(later-earlier) / float64(count) }
	figures := map[string]any{
		"client":              "go",
		"requests":            count,
		"failures":            0,
		"rate":                float64(count) / seconds,
		"userMicros":          each(after.Utime.Nano(), before.Utime.Nano()) / 1e3,
		"systemMicros":        each(after.Stime.Nano(), before.Stime.Nano()) / 1e3,
		"voluntarySwitches":   each(after.Nvcsw, before.Nvcsw),
		"involuntarySwitches": each(after.Nivcsw, before.Nivcsw),
		"p50Micros":           percentile(0.5),
		"p90Micros":           percentile(0.9),
		"p99Micros":           percentile(0.99),
		"p999Micros":          percentile(0.999),
	}
	if err := json.NewEncoder(os.Stdout).Encode(figures); err != nil {
		fail(err)
	}
}
