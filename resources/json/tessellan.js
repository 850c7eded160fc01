/* tessellan.js - shared helper for layout scripts, served as /json/tessellan.js.
 *
 * Tessellan.parseReply(text) turns the body of any /json/ command into a value without
 * evaluating it: an empty body (a missing variable) gives null, and the parentheses around the
 * getpicinfo object are dropped.
 */
var Tessellan = Tessellan || {};
Tessellan.parseReply = function (text) {
  var body = String(text).trim();
  if (!body) return null;
  if (body.charAt(0) === '(' && body.charAt(body.length - 1) === ')') body = body.slice(1, -1);
  return JSON.parse(body);
};
